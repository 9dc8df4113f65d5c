# The packages of the system that the build needs. All are searched for here, before they are used,
# so that one message lists everything that is missing, each with its package.
#
# Sets PLINTH_WITH_TESTS and PLINTH_WITH_DESKTOP: whether these parts are built. With AUTO
# (PLINTH_BUILD_TESTS, PLINTH_BUILD_DESKTOP) they are left out if something that they need is
# missing.
set(plinth_missing "")
set(plinth_missing_packages "")

# plinth_need(what package found): adds a line to the message unless found is true.
macro(plinth_need what package found)
  if(NOT ${found})
    list(APPEND plinth_missing "${what} (Debian: ${package})")
    list(APPEND plinth_missing_packages ${package})
  endif()
endmacro()

# plinth_need_header(variable header package): variable becomes the header's folder.
macro(plinth_need_header variable header package)
  find_path(${variable} ${header} DOC "Folder with ${header} (Debian: ${package})")
  mark_as_advanced(${variable})
  plinth_need("the header ${header}" ${package} ${variable})
endmacro()

macro(plinth_need_library variable library package)
  find_library(${variable} ${library} DOC "The library ${library} (Debian: ${package})")
  mark_as_advanced(${variable})
  plinth_need("the library ${library}" ${package} ${variable})
endmacro()

if(NOT WIN32)
  plinth_need_header(PLINTH_LIBDW_INCLUDE elfutils/libdwfl.h libdw-dev)
  plinth_need_header(PLINTH_SYSTEMD_INCLUDE systemd/sd-bus.h libsystemd-dev)
  if(PLINTH_BUILD_TOOLS)
    plinth_need_header(PLINTH_PCRE2_INCLUDE pcre2.h libpcre2-dev)
    plinth_need_library(PLINTH_PCRE2_LIBRARY pcre2-8 libpcre2-dev)
    plinth_need_header(PLINTH_CURSES_INCLUDE curses.h libncurses-dev)
    plinth_need_library(PLINTH_CURSES_LIBRARY ncursesw libncurses-dev)
    plinth_need_library(PLINTH_TINFO_LIBRARY tinfo libncurses-dev)
  endif()
endif()

# The test library. For the cross compiler there is no binary package, so it builds the
# distribution's sources.
set(PLINTH_WITH_TESTS ${PLINTH_BUILD_TESTS})
if(PLINTH_BUILD_TESTS AND NOT PLINTH_TEST_INTERFACE AND NOT WIN32)
  if(NOT PLINTH_BUILD_TESTS STREQUAL "AUTO")
    message(NOTICE "plinth: the tests need the test interface of the stand-in. Either set "
                   "PLINTH_TEST_INTERFACE=ON, as the preset dev does, or PLINTH_BUILD_TESTS=OFF.")
    message(FATAL_ERROR "plinth can't build tests without PLINTH_TEST_INTERFACE.")
  endif()
  message(STATUS "plinth: no tests, since PLINTH_TEST_INTERFACE is off")
  set(PLINTH_WITH_TESTS OFF)
endif()
if(PLINTH_WITH_TESTS)
  if(WIN32)
    find_path(PLINTH_GOOGLETEST_SOURCES CMakeLists.txt PATHS /usr/src/googletest NO_DEFAULT_PATH
              NO_CMAKE_FIND_ROOT_PATH DOC "The test library's sources (Debian: googletest)")
    mark_as_advanced(PLINTH_GOOGLETEST_SOURCES)
    set(what "the test library's sources")
    set(package googletest)
    set(found PLINTH_GOOGLETEST_SOURCES)
  else()
    find_package(GTest QUIET)
    set(what "GoogleTest")
    set(package libgtest-dev)
    set(found GTest_FOUND)
  endif()
  if(NOT PLINTH_BUILD_TESTS STREQUAL "AUTO")
    plinth_need("${what}, for the tests" ${package} ${found})
  elseif(NOT ${found})
    message(STATUS "plinth: no tests, since there is no GoogleTest (Debian: ${package})")
    set(PLINTH_WITH_TESTS OFF)
  endif()
endif()

if(PLINTH_BUILD_BENCH AND NOT WIN32)
  find_package(benchmark QUIET)
  plinth_need("the benchmark library, for the benchmarks" libbenchmark-dev benchmark_FOUND)
  find_package(spdlog QUIET) # some rows of the table compare with it
  plinth_need("spdlog, for the benchmarks" libspdlog-dev spdlog_FOUND)
  find_package(glog QUIET) # scripts/load compares with it; plinth_load is left out without it
endif()

# The desktop plug-in. Windows has a desktop of its own, and the fuzz targets show no windows.
set(PLINTH_WITH_DESKTOP OFF)
if(PLINTH_BUILD_DESKTOP AND NOT WIN32 AND NOT PLINTH_BUILD_FUZZ)
  find_package(Qt6 6.4 QUIET COMPONENTS Widgets OPTIONAL_COMPONENTS Test)
  if(Qt6_FOUND)
    set(PLINTH_WITH_DESKTOP ON)
  elseif(PLINTH_BUILD_DESKTOP STREQUAL "AUTO")
    message(STATUS "plinth: no windows, since there is no Qt 6.4 or later (Debian: qt6-base-dev)")
  else()
    plinth_need("Qt 6.4 or later, for the desktop plug-in" qt6-base-dev Qt6_FOUND)
  endif()
endif()

if(plinth_missing)
  list(REMOVE_DUPLICATES plinth_missing_packages)
  list(JOIN plinth_missing "\n  " lines)
  list(JOIN plinth_missing_packages " " packages)
  # Printed separately: FATAL_ERROR alone would add line numbers and wrap the lines.
  message(NOTICE "plinth: missing on this system:\n  ${lines}\n"
                 "On Debian, as root: apt-get install --no-install-recommends ${packages}")
  message(FATAL_ERROR "plinth can't be built without ${packages}.")
endif()
