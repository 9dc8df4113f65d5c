# Warnings, sanitizers, compiler cache: for plinth's own targets, not for their users.

find_package(Threads REQUIRED)

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(PLINTH_CCACHE ccache DOC "Compiler cache, used if it works; OFF: none")
endif()
if(PLINTH_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # ccache fails for a user who can't write its cache (one without a home folder).
  set(probe ${CMAKE_BINARY_DIR}/CMakeFiles/ccache_probe)
  file(WRITE ${probe}.cpp "int ccache_probe;\n")
  execute_process(COMMAND ${PLINTH_CCACHE} ${CMAKE_CXX_COMPILER} -c ${probe}.cpp -o ${probe}.o
                  RESULT_VARIABLE status OUTPUT_QUIET ERROR_QUIET)
  if(status EQUAL 0)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${PLINTH_CCACHE})
  endif()
endif()

add_library(plinth_private INTERFACE)
target_compile_options(plinth_private INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor
  # Calls between the libraries use a pointer directly, without a stub that reads it.
  $<$<PLATFORM_ID:Linux>:-fno-plt>
  # A library calls its own exported functions directly: no other library replaces them.
  $<$<AND:$<PLATFORM_ID:Linux>,$<CXX_COMPILER_ID:GNU>>:-fno-semantic-interposition>
  # No variable of an inline function is one in the whole process: each library has its own, and in the
  # archive of all they can be hidden, which objcopy does to no other kind.
  $<$<AND:$<PLATFORM_ID:Linux>,$<CXX_COMPILER_ID:GNU>>:-fno-gnu-unique>
  $<$<BOOL:${PLINTH_WARNINGS_AS_ERRORS}>:-Werror>)
target_compile_definitions(plinth_private INTERFACE
  PLINTH_TEST_INTERFACE=$<BOOL:${PLINTH_TEST_INTERFACE}>)
if(PLINTH_SANITIZE)
  # Instrumented code hides from GCC that a value is set (std::regex in <regex> is one case).
  target_compile_options(plinth_private INTERFACE -fsanitize=${PLINTH_SANITIZE}
                         -fno-omit-frame-pointer $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(plinth_private INTERFACE -fsanitize=${PLINTH_SANITIZE})
endif()

# Keeps the C++ library's templates out of the names that a shared library of ours exports.
function(plinth_own_names target)
  if(NOT WIN32)
    set(map ${PROJECT_SOURCE_DIR}/cmake/own_names.map)
    target_link_options(${target} PRIVATE -Wl,--version-script=${map})
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map})
  endif()
endfunction()

# The sources of one target: every .cpp file below the folders. Folders follow subsystems.
function(plinth_sources variable)
  set(all "")
  foreach(folder IN LISTS ARGN)
    file(GLOB_RECURSE found CONFIGURE_DEPENDS ${folder}/*.cpp)
    list(APPEND all ${found})
  endforeach()
  set(${variable} ${all} PARENT_SCOPE)
endfunction()
