# tav_add_version_resource(<target> <description>)
# Gives a DLL a VERSIONINFO resource: file and product version from
# project(VERSION), the description, the file name and the product name.
function(tav_add_version_resource target description)
  set(TAV_VI_NAME ${target})
  set(TAV_VI_FILE ${target}.dll)
  set(TAV_VI_DESCRIPTION "${description}")
  set(rc ${CMAKE_CURRENT_BINARY_DIR}/${target}Version.rc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/VersionInfo.rc.in ${rc} @ONLY)
  target_sources(${target} PRIVATE ${rc})
endfunction()
