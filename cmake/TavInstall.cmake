# What `cmake --install` and `cpack` ship, the same tree in both:
#   bin/                      TavMovieMaker.dll and the host programs (stripped)
#   debug/                    their debug information (<file>.debug)
#   lib/                      libTavMovieMaker.dll.a (GNU), TavMovieMaker.lib (Microsoft)
#   lib/cmake/TavMovieMaker/  the CMake package
#   include/                  TavMovieMaker.h, TavMovieMaker.hpp
#   share/doc/TavMovieMaker/  README and the guides
#   wine/                     TavPlatformPack.dll and its register/unregister scripts
include(CMakePackageConfigHelpers)

# Installing and packing take what has been built and build nothing (cpack
# would otherwise build every test program first).
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY TRUE)

tav_install_binary(TavMovieMaker bin)
tav_install_binary(TavPlatformPack wine)
install(PROGRAMS wine/register-pack.sh wine/unregister-pack.sh DESTINATION wine)

install(FILES $<TARGET_LINKER_FILE:TavMovieMaker> ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/TavMovieMaker.lib
        DESTINATION lib)
install(FILES include/TavMovieMaker.h include/TavMovieMaker.hpp DESTINATION include)
install(FILES README.md docs/host-guide.md docs/logging.md docs/wine-platform-pack.md
        DESTINATION share/doc/TavMovieMaker)

set(config_dir ${CMAKE_BINARY_DIR}/cmake-package)
configure_file(cmake/TavMovieMakerConfig.cmake.in ${config_dir}/TavMovieMakerConfig.cmake @ONLY)
write_basic_package_version_file(${config_dir}/TavMovieMakerConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${config_dir}/TavMovieMakerConfig.cmake ${config_dir}/TavMovieMakerConfigVersion.cmake
        DESTINATION lib/cmake/TavMovieMaker)

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME TavMovieMaker)
set(CPACK_PACKAGE_VENDOR TavMovieMaker)
set(CPACK_PACKAGE_FILE_NAME TavMovieMaker-${PROJECT_VERSION}-win64)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/package)
include(CPack)
