# Packages by CPack: a Debian package for each component, and one ZIP on Windows. scripts/package
# builds and tries them; docs/packages.md describes them.
set(CPACK_PACKAGE_NAME plinth)
set(CPACK_PACKAGE_VENDOR plinth)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)

if(WIN32)
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
  return()
endif()

# Which package a component becomes. A component without a line here stops the configuration: what
# somebody installs must not be missing from the packages without a word.
set(debian_package_runtime libplinth${PROJECT_VERSION_MAJOR})
set(debian_package_development libplinth-dev)
set(debian_package_tools plinth-tools)
set(debian_package_desktop plinth-desktop)

get_cmake_property(CPACK_COMPONENTS_ALL COMPONENTS)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  if(NOT debian_package_${component})
    message(FATAL_ERROR "cmake/PlinthPackage.cmake has no package for the component ${component}")
  endif()
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${debian_package_${component}})
  set(CPACK_DEBIAN_${upper}_FILE_NAME DEB-DEFAULT)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
    GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(PLINTH_PACKAGE_MAINTAINER "The plinth maintainers <maintainers@plinth.example>"
    CACHE STRING "Name and address in the Debian packages")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${PLINTH_PACKAGE_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# What a program of ours needs of the system is read from it; what it needs of the other packages,
# exactly this version, is said below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src/platform
    ${PROJECT_BINARY_DIR}/src/w32_pthreadVC ${PROJECT_BINARY_DIR}/src/w32_system)
# For packages of applications. Before 1.0 any version may change the interface.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY =)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_COMPONENT_DESKTOP_DEPENDS runtime)

# Each package has its first line; CPack puts any summary but its own default before it.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_NAME} built using CMake")
set(what "plinth is the system layer of a family of desktop applications: one C++
library through which their modules reach files, directories, clocks and text,
and through which each of them logs and traces.
.
")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "plinth system layer for desktop applications (libraries)
${what}This package holds the shared libraries. It makes the folder /var/lib/plinth,
in which the members of the group plinth share a log.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "adduser, acl")
# Loaded when they are first needed: stack lines of assertion reports, keeping the machine awake.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "libdw1, libsystemd0")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS "xdg-utils")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "plinth system layer for desktop applications (development)
${what}This package holds what a program is built with: headers, CMake package,
pkg-config file, and examples.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "cmake (>= 3.25), pkgconf")

set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "plinth system layer for desktop applications (tools)
${what}This package holds the programs that show what applications trace, live or
from the log, and what is in a module file, and that hand the log to the system's
collectors; with ready files for rsyslog, syslog-ng and the journal.")

set(CPACK_DEBIAN_DESKTOP_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DESKTOP_DESCRIPTION "plinth system layer for desktop applications (windows)
${what}This package holds the plug-in that shows the debug windows and message boxes
of applications on the desktop, and the viewer of plinth-trace window.")

# The scripts of the maintainer, and what the policy wants to see in each package's documents.
set(debian_folder ${PROJECT_SOURCE_DIR}/cmake/debian)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${debian_folder}/postinst ${debian_folder}/postrm
    ${debian_folder}/triggers)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  list(APPEND PLINTH_DEBIAN_PACKAGES ${component}=${debian_package_${component}})
endforeach()
set(CPACK_PLINTH_DEBIAN_PACKAGES ${PLINTH_DEBIAN_PACKAGES})
set(CPACK_PLINTH_SOURCE ${PROJECT_SOURCE_DIR})
set(CPACK_PRE_BUILD_SCRIPTS ${debian_folder}/documents.cmake)

file(STRINGS ${debian_folder}/changelog newest LIMIT_COUNT 1)
if(NOT newest MATCHES "^plinth \\(${PROJECT_VERSION}\\) ")
  message(FATAL_ERROR "cmake/debian/changelog begins with \"${newest}\", which is not version "
                      "${PROJECT_VERSION}")
endif()
include(CPack)
