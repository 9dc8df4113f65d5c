# The CMakeLists.txt of a project that adds plinth, in the folder PLINTH, by the function WAY.
# Configuring fails if plinth has added settings or tests to the project.
cmake_minimum_required(VERSION 3.25)
project(parent LANGUAGES CXX)
set(CMAKE_CXX_STANDARD 17)

# Allowed in the cache: plinth's own names, and what CMake's modules record (project, Threads,
# GNUInstallDirs).
set(recorded "^(PLINTH_|plinth_|CMAKE_PROJECT_VERSION|CMAKE_INSTALL_.*DIR|_GNUInstallDirs_|\
CMAKE_HAVE_|FIND_PACKAGE_MESSAGE_DETAILS_Threads|FETCHCONTENT_)")

get_cmake_property(cached CACHE_VARIABLES)

if(WAY STREQUAL "FetchContent")
  include(FetchContent)
  FetchContent_Declare(plinth SOURCE_DIR ${PLINTH})
  FetchContent_MakeAvailable(plinth)
else()
  add_subdirectory(${PLINTH} plinth)
endif()

get_cmake_property(cached_now CACHE_VARIABLES)
list(REMOVE_ITEM cached_now ${cached})
list(FILTER cached_now EXCLUDE REGEX "${recorded}")
if(cached_now)
  message(FATAL_ERROR "new in the cache: ${cached_now}")
endif()
get_property(tests DIRECTORY ${PLINTH} PROPERTY TESTS)
if(tests)
  message(FATAL_ERROR "new tests: ${tests}")
endif()

add_executable(parent main.cpp)
target_link_libraries(parent PRIVATE plinth::w32_system)
plinth_add_resources(parent
  TEXT LOGFILEDIR LogFileDir "Acme\\Parent"
  BYTES LOGFILECHARSET Unicode_Enabled 01)
