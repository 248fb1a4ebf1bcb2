# The build's one version number. VANTOR_VERSION (three numbers, set at the top of the tree or
# on the command line) is the product version; the executables' version resources, the package
# and its File table, and the VSS registration (which reads the executable's resource) all
# follow it.
set(VANTOR_FILE_VERSION "${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}.${PROJECT_VERSION_PATCH}.0")
string(REPLACE "." "," VANTOR_FILE_VERSION_COMMAS "${VANTOR_FILE_VERSION}")
# A special build (for instance the older package the upgrade test starts from) carries its
# mark in the version resource, which also makes its bytes differ from a plain build's.
set(VANTOR_BUILD_MARK "" CACHE STRING "Marks a special build in the executables' version resources")

# Gives `target` a version resource with the build's version.
function(vantor_version_resource target description)
  if(NOT WIN32)
    return()
  endif()
  set(VANTOR_RC_NAME ${target})
  set(VANTOR_RC_FILE ${target}.exe)
  set(VANTOR_RC_DESCRIPTION "${description}")
  set(VANTOR_RC_FLAGS 0x0L)
  set(VANTOR_RC_SPECIAL "")
  if(VANTOR_BUILD_MARK)
    set(VANTOR_RC_FLAGS VS_FF_SPECIALBUILD)
    set(VANTOR_RC_SPECIAL "            VALUE \"SpecialBuild\", \"${VANTOR_BUILD_MARK}\"\n")
  endif()
  set(rc ${CMAKE_CURRENT_BINARY_DIR}/${target}-version.rc)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/VersionResource.rc.in ${rc} @ONLY)
  target_sources(${target} PRIVATE ${rc})
endfunction()
