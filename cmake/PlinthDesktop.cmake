# Whether the desktop plug-in is built: PLINTH_WITH_DESKTOP. Windows has a desktop of its own, and the
# fuzz targets show no windows.
set(PLINTH_WITH_DESKTOP OFF)
if(WIN32 OR PLINTH_BUILD_FUZZ OR NOT PLINTH_BUILD_DESKTOP)
  return()
endif()
find_package(Qt6 6.4 QUIET COMPONENTS Widgets)
if(Qt6_FOUND)
  set(PLINTH_WITH_DESKTOP ON)
  message(STATUS "Desktop plug-in: with Qt ${Qt6_VERSION}")
elseif(PLINTH_BUILD_DESKTOP STREQUAL "AUTO")
  message(STATUS "Desktop plug-in: left out, since Qt 6.4 or later isn't there "
                 "(Debian: qt6-base-dev)")
else()
  message(FATAL_ERROR "PLINTH_BUILD_DESKTOP is on, but Qt 6.4 or later isn't there "
                      "(Debian: qt6-base-dev)")
endif()
