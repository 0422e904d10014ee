# GoogleTest from Debian's sources, cross-compiled like everything else, and
# one CTest test per GoogleTest case, each run under Wine.
set(gtest_force_shared_crt OFF CACHE BOOL "" FORCE)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
include(GoogleTest)

# tav_add_gtest(<name> SOURCES <files...> [LIBS <libs...>] [LABELS <labels...>]
#               [ENVIRONMENT <VAR=value...>] [TIMEOUT <seconds>]
#               [RESOURCE_LOCK <names...>] [RUN_SERIAL] [NO_MAIN])
# RESOURCE_LOCK keeps tests that share a resource (the named main mutex, a
# file) from running at the same time; RUN_SERIAL runs each case alone.
# Builds a test program and registers each of its cases as its own CTest test,
# discovered when ctest runs (so building needs no Wine).
function(tav_add_gtest name)
  cmake_parse_arguments(T "NO_MAIN;RUN_SERIAL" "TIMEOUT" "SOURCES;LIBS;LABELS;ENVIRONMENT;RESOURCE_LOCK" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  if(T_NO_MAIN)
    target_link_libraries(${name} PRIVATE GTest::gtest GTest::gmock ${T_LIBS})
  else()
    target_link_libraries(${name} PRIVATE GTest::gtest_main GTest::gmock ${T_LIBS})
  endif()
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 120)
  endif()
  set(props TIMEOUT ${T_TIMEOUT})
  if(T_RUN_SERIAL)
    list(APPEND props RUN_SERIAL TRUE)
  endif()
  # CMake 3.25.1 writes the include file over itself when it configures an
  # existing build tree again (the file then only includes itself and ctest
  # fails); removing it first lets the generate step write it properly.
  file(REMOVE "${CMAKE_CURRENT_BINARY_DIR}/${name}[1]_include.cmake")
  gtest_discover_tests(${name}
    DISCOVERY_MODE PRE_TEST
    DISCOVERY_TIMEOUT 120
    WORKING_DIRECTORY ${CMAKE_BINARY_DIR}/bin
    PROPERTIES ${props})
  # gtest_discover_tests hands its PROPERTIES on as one flat list, so of
  # "LABELS platform long" only "platform" would arrive. Properties that hold
  # lists are set by a script of their own, which CTest runs after discovery.
  set(list_props "")
  foreach(prop LABELS RESOURCE_LOCK ENVIRONMENT)
    if(T_${prop})
      string(APPEND list_props " ${prop} [==[${T_${prop}}]==]")
    endif()
  endforeach()
  if(list_props)
    set(script "${CMAKE_CURRENT_BINARY_DIR}/${name}_list_properties.cmake")
    file(WRITE "${script}"
         "foreach(t IN LISTS ${name}_TESTS)\n"
         "  set_tests_properties(\"\${t}\" PROPERTIES${list_props})\n"
         "endforeach()\n")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${script}")
  endif()
endfunction()
