# Selects the tests of concurrent use. They have the CTest label "concurrent", which ThreadSanitizer
# (scripts/check tsan) and the soak (scripts/soak) use to choose them. Tests that only take more records
# if the soak has set PLINTH_SOAK_SECONDS have the label "soak".
#
# A test has the label if its suite, name or instance contains "Concurrent" or "concurrent", or if
# it is in a file *_concurrent*_test.cpp. The target plinth_concurrent_tests builds their programs.
# It has the label "soak" if its name contains "VeryMany"; plinth_soak_programs builds those programs.
option(PLINTH_CONCURRENT_TESTS_ONLY
       "Leave out the other sources of test programs that have tests of concurrent use" OFF)
add_custom_target(plinth_concurrent_tests)
add_custom_target(plinth_soak_programs)
set(plinth_soak_timeout 1800) # seconds, for all records on a machine that is busy

set(plinth_concurrent_file "_concurrent[a-z0-9_]*_test\\.cpp$")

# Returns those of the given sources that have tests of concurrent use.
function(plinth_find_concurrent_sources variable)
  set(found "")
  foreach(source IN LISTS ARGN)
    file(READ ${source} text)
    if(source MATCHES "${plinth_concurrent_file}" OR
       text MATCHES "(TEST|TEST_F|TEST_P|TEST_SUITE_P)\\([^)]*[Cc]oncurren")
      list(APPEND found ${source})
    endif()
  endforeach()
  set(${variable} ${found} PARENT_SCOPE)
endfunction()

# plinth_choose_test_sources(variable): removes the sources that PLINTH_CONCURRENT_TESTS_ONLY leaves
# out. A program without tests of concurrent use keeps all; it isn't built then.
function(plinth_choose_test_sources variable)
  if(PLINTH_CONCURRENT_TESTS_ONLY)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${${variable}})
    plinth_find_concurrent_sources(concurrent ${${variable}})
    if(concurrent)
      set(${variable} ${concurrent} PARENT_SCOPE)
    endif()
  endif()
endfunction()

# The test library's filter that selects a program's tests of concurrent use.
function(plinth_concurrent_filter variable)
  set(filter "*Concurren*:*concurren*")
  foreach(source IN LISTS ARGN)
    if(source MATCHES "${plinth_concurrent_file}")
      set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
      file(READ ${source} text)
      string(REGEX MATCHALL "TEST(_F|_P)?\\([A-Za-z0-9_]+" heads "${text}")
      list(TRANSFORM heads REPLACE ".*\\(" "")
      list(REMOVE_DUPLICATES heads)
      foreach(suite IN LISTS heads)
        string(APPEND filter ":${suite}.*:*/${suite}.*")
      endforeach()
    endif()
  endforeach()
  set(${variable} ${filter} PARENT_SCOPE)
endfunction()

# plinth_discover_soak(variable target source...): CTest tests with the label "soak". The variable
# becomes the filter that names them; it is empty if the program has none.
function(plinth_discover_soak variable target)
  set(filter "")
  foreach(source IN LISTS ARGN)
    file(READ ${source} text)
    if(text MATCHES "TEST(_F|_P)?\\([^)]*VeryMany")
      set(filter ":*VeryMany*")
      set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
    endif()
  endforeach()
  if(filter)
    gtest_discover_tests(${target} TEST_PREFIX "${target}." DISCOVERY_MODE PRE_TEST
                         DISCOVERY_TIMEOUT 60 TEST_FILTER "*VeryMany*"
                         PROPERTIES TIMEOUT ${plinth_soak_timeout} LABELS soak)
    add_dependencies(plinth_soak_programs ${target})
  endif()
  set(${variable} "${filter}" PARENT_SCOPE)
endfunction()

# plinth_discover_tests(target source...): a CTest test for each test of the program, with its label.
function(plinth_discover_tests target)
  plinth_concurrent_filter(filter ${ARGN})
  plinth_discover_soak(soak ${target} ${ARGN})
  set(common TEST_PREFIX "${target}." DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60)
  gtest_discover_tests(${target} ${common} TEST_FILTER "-${filter}${soak}" PROPERTIES TIMEOUT 300)
  gtest_discover_tests(${target} ${common} TEST_FILTER "${filter}"
                       PROPERTIES TIMEOUT 300 LABELS concurrent)
  plinth_find_concurrent_sources(concurrent ${ARGN})
  if(concurrent OR NOT PLINTH_CONCURRENT_TESTS_ONLY)
    add_dependencies(plinth_concurrent_tests ${target})
  endif()
endfunction()
