# Packages. On Windows CPack makes a ZIP. debian/rules makes the Debian packages; this file only checks
# that they have the project's version. scripts/package builds and tries both;
# docs/packages.md describes them.
if(NOT WIN32)
  file(STRINGS debian/changelog newest LIMIT_COUNT 1)
  if(NOT newest MATCHES "^plinth \\(${PROJECT_VERSION}\\) ")
    message(FATAL_ERROR "debian/changelog begins with \"${newest}\", which is not version "
                        "${PROJECT_VERSION}")
  endif()
  return()
endif()

set(CPACK_PACKAGE_NAME plinth)
set(CPACK_PACKAGE_VENDOR plinth)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR ZIP)
# Two files, each of which unpacks into a folder of its name: all that is used, and the symbols.
set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
foreach(component IN ITEMS runtime development tools)
  string(TOUPPER ${component} upper)
  set(CPACK_COMPONENT_${upper}_GROUP plinth)
endforeach()
set(CPACK_COMPONENT_SYMBOLS_GROUP symbols)
set(CPACK_PACKAGE_FILE_NAME plinth-${PROJECT_VERSION}-windows-x86_64)
set(CPACK_ARCHIVE_PLINTH_FILE_NAME ${CPACK_PACKAGE_FILE_NAME})
set(CPACK_ARCHIVE_SYMBOLS_FILE_NAME ${CPACK_PACKAGE_FILE_NAME}-symbols)
include(CPack)
