# Helpers for what the package ships (bin/, wine/, debug/).
#
# tav_install_binary(<target> <destination>)
#   The build keeps a stripped copy of the target's DLL or program in
#   build/stripped/<destination>/ and its debug information in
#   build/stripped/debug/<file>.debug; the stripped file names its debug file
#   (.gnu_debuglink), so a crash can be symbolised with the file from debug/.
#   `cmake --install` copies both.
# tav_install_program(<target>)
#   The same into bin/, for host programs.
find_program(TAV_LLVM_DLLTOOL NAMES llvm-dlltool llvm-dlltool-14 REQUIRED)
if(NOT CMAKE_OBJCOPY)
  find_program(CMAKE_OBJCOPY x86_64-w64-mingw32-objcopy REQUIRED)
endif()

# The file name of a DLL or program target (a custom command's OUTPUT may not
# use $<TARGET_FILE_NAME>).
function(tav_binary_file_name target out)
  get_target_property(type ${target} TYPE)
  get_target_property(name ${target} OUTPUT_NAME)
  if(NOT name)
    set(name ${target})
  endif()
  get_target_property(prefix ${target} PREFIX)
  get_target_property(suffix ${target} SUFFIX)
  if(type STREQUAL "EXECUTABLE")
    set(default_prefix "")
    set(default_suffix ${CMAKE_EXECUTABLE_SUFFIX})
  else()
    set(default_prefix ${CMAKE_SHARED_LIBRARY_PREFIX})
    set(default_suffix ${CMAKE_SHARED_LIBRARY_SUFFIX})
  endif()
  if(prefix STREQUAL "prefix-NOTFOUND")
    set(prefix "${default_prefix}")
  endif()
  if(NOT suffix)
    set(suffix ${default_suffix})
  endif()
  set(${out} "${prefix}${name}${suffix}" PARENT_SCOPE)
endfunction()

function(tav_install_binary target destination)
  tav_binary_file_name(${target} file)
  set(stripped ${CMAKE_BINARY_DIR}/stripped/${destination}/${file})
  set(debug ${CMAKE_BINARY_DIR}/stripped/debug/${file}.debug)
  add_custom_command(OUTPUT ${stripped} ${debug}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/stripped/${destination}
            ${CMAKE_BINARY_DIR}/stripped/debug
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}> ${debug}
    COMMAND ${CMAKE_OBJCOPY} --strip-all --add-gnu-debuglink=${debug} $<TARGET_FILE:${target}> ${stripped}
    DEPENDS ${target}
    COMMENT "Stripping ${target}, its debug information into debug/")
  add_custom_target(${target}_stripped ALL DEPENDS ${stripped} ${debug})
  install(FILES ${stripped} DESTINATION ${destination})
  install(FILES ${debug} DESTINATION debug)
endfunction()

function(tav_install_program target)
  tav_install_binary(${target} bin)
  tav_binary_file_name(${target} file)
  set_property(GLOBAL APPEND PROPERTY TAV_INSTALLED_PROGRAMS ${file})
endfunction()

# Installs every program built in <directory> or below it (tools/ calls this
# when it has been read, so a host program added there ships in bin/ by itself).
function(tav_install_programs_in directory)
  get_property(targets DIRECTORY ${directory} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target ${targets})
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "EXECUTABLE")
      tav_install_program(${target})
    endif()
  endforeach()
  get_property(children DIRECTORY ${directory} PROPERTY SUBDIRECTORIES)
  foreach(child ${children})
    tav_install_programs_in(${child})
  endforeach()
endfunction()
