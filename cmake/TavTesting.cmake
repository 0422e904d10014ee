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
  if(T_LABELS)
    list(APPEND props LABELS "${T_LABELS}")
  endif()
  if(T_RESOURCE_LOCK)
    list(APPEND props RESOURCE_LOCK "${T_RESOURCE_LOCK}")
  endif()
  if(T_RUN_SERIAL)
    list(APPEND props RUN_SERIAL TRUE)
  endif()
  if(T_ENVIRONMENT)
    list(APPEND props ENVIRONMENT "${T_ENVIRONMENT}")
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
endfunction()
