# How a test program is made: plinth_add_test, for one program; plinth_add_test_folders, for every
# folder of a subsystem. A new folder, like a new file, is found without an entry in a list.

# plinth_add_test(name library folder... [HEADERS header...] [OWN_RESOURCES]): a program of all *_test.cpp files below
# the folders, linked to one of plinth's libraries. Tests of the stand-in and of the threads module run
# without the library above them, which would open a log and trace as it loads.
#
# Most of what a test file costs the compiler is the same headers each time, so they are compiled once
# for all programs (support/test.h). A program with other compiler options, such as those that
# Qt asks for, can't use that: HEADERS names what it precompiles itself.
#
# On Windows a test can't have a machine-wide state of its own. A program that logs there has a resource
# with a log folder of its own, so that it never touches other logs. OWN_RESOURCES: the program's list
# file adds that resource itself.
function(plinth_add_test name library)
  cmake_parse_arguments(PARSE_ARGV 2 own "OWN_RESOURCES" "" "HEADERS")
  plinth_sources(sources ${own_UNPARSED_ARGUMENTS})
  list(FILTER sources INCLUDE REGEX "_test\\.cpp$")
  if(WIN32)
    # They need the stand-in's test interface, or an environment that only Linux has.
    list(FILTER sources EXCLUDE REGEX "_(fault|linux)_test\\.cpp$")
  endif()
  if(NOT sources)
    return()
  endif()
  plinth_choose_test_sources(sources)
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE plinth_test_support ${library})
  if(own_HEADERS)
    target_precompile_headers(${name} PRIVATE ${own_HEADERS})
  else()
    target_precompile_headers(${name} REUSE_FROM plinth_test_support)
  endif()
  if(WIN32)
    if(library STREQUAL "plinth_w32_system" AND NOT own_OWN_RESOURCES)
      plinth_add_resources(${name} TEXT LOGFILEDIR LogFileDir "plinth-tests\\${name}")
    endif()
  else()
    set_target_properties(${name} PROPERTIES
      RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests # where the scripts look for it
      CROSSCOMPILING_EMULATOR $<TARGET_FILE:plinth_test_launcher>)
    add_dependencies(${name} plinth_test_launcher)
    plinth_discover_tests(${name} ${sources})
  endif()
endfunction()

# plinth_add_test_folders(subsystem library): a program SUBSYSTEM_FOLDER_tests for each folder below
# the subsystem's. A folder with a CMakeLists.txt of its own makes its program there.
function(plinth_add_test_folders subsystem library)
  set(all ${CMAKE_CURRENT_SOURCE_DIR}/${subsystem})
  file(GLOB folders RELATIVE ${all} CONFIGURE_DEPENDS ${all}/*)
  foreach(folder IN LISTS folders)
    if(EXISTS ${all}/${folder}/CMakeLists.txt)
      add_subdirectory(${subsystem}/${folder})
    elseif(IS_DIRECTORY ${all}/${folder})
      plinth_add_test(${subsystem}_${folder}_tests ${library} ${all}/${folder})
      plinth_use_hidden_headers(${subsystem}_${folder}_tests ${subsystem})
    endif()
  endforeach()
endfunction()

# Tests of the stand-in include its internal headers for what needs no system: rules and tables.
function(plinth_use_hidden_headers program subsystem)
  if(TARGET ${program} AND subsystem STREQUAL "platform")
    target_include_directories(${program} PRIVATE ${PROJECT_SOURCE_DIR}/src/platform)
  endif()
endfunction()

# plinth_use_test_modules(target): the target's tests work on the files of tests/modules.
function(plinth_use_test_modules target)
  add_dependencies(${target} plinth_test_modules)
  target_compile_definitions(${target} PRIVATE
    PLINTH_TEST_MODULES="${PROJECT_BINARY_DIR}/tests/modules")
endfunction()

# plinth_hidden_objects(result target source...): the object files that a shared library of ours was
# made of, for a test of what the library doesn't export. Sources are named relative to the folder of
# the target. Nothing is compiled a second time, and a source that needs another one fails to link.
function(plinth_hidden_objects result target)
  list(JOIN ARGN "|" sources)
  string(REPLACE "." "\\." sources "${sources}")
  set(${result} "$<FILTER:$<TARGET_OBJECTS:${target}>,INCLUDE,/${target}\\.dir/(\\./)?(${sources})\\.(o|obj)$>"
      PARENT_SCOPE)
endfunction()
