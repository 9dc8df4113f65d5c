# Tests that aren't programs of the test library, and tests that can't run here: CTest reports these
# as skipped, under their own names, with the package that is missing. With CI=true a skipped test
# is a failure.
find_package(Python3 QUIET COMPONENTS Interpreter)
if(NOT Python3_FOUND)
  message(STATUS "plinth: tests written in Python are skipped, since there is none (Debian: python3)")
endif()

set(skip_return_code 77) # as in tests/support/skip.sh and tests/support/python_test.py

# plinth_add_skipped_test(name what package): a test that needs WHAT, from the Debian package.
function(plinth_add_skipped_test name what package)
  add_test(NAME ${name}
    COMMAND sh ${PROJECT_SOURCE_DIR}/tests/support/skip.sh "${what}" "${package}")
  set_tests_properties(${name} PROPERTIES SKIP_RETURN_CODE ${skip_return_code})
endfunction()

# plinth_add_skipped_program(name folder what package): all tests of a program of the test library
# that can't be built.
function(plinth_add_skipped_program name folder what package)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${folder}/*_test.cpp)
  foreach(source IN LISTS sources)
    file(STRINGS ${source} tests REGEX "^TEST(_F|_P)?\\(")
    foreach(test IN LISTS tests)
      if(test MATCHES "\\(([A-Za-z0-9]+), *([A-Za-z0-9]+)\\)")
        plinth_add_skipped_test(${name}.${CMAKE_MATCH_1}.${CMAKE_MATCH_2} "${what}" "${package}")
      endif()
    endforeach()
  endforeach()
endfunction()

# plinth_add_python_tests(prefix script
#                         [CLASSES]                 the names of tests have that of their class
#                         [INTERPRETER program]     in place of the Python that CMake has found
#                         [SKIPPED what package]    the tests can't run here
#                         [TIMEOUT seconds]
#                         [ENVIRONMENT name=value...])
# One CTest test for each method of the script, in a process and a machine of its own.
function(plinth_add_python_tests prefix script)
  cmake_parse_arguments(PARSE_ARGV 2 ARG "CLASSES" "INTERPRETER;TIMEOUT" "SKIPPED;ENVIRONMENT")
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 300)
  endif()
  if(NOT ARG_INTERPRETER)
    set(ARG_INTERPRETER ${Python3_EXECUTABLE})
  endif()
  if(NOT ARG_INTERPRETER AND NOT ARG_SKIPPED)
    set(ARG_SKIPPED python3 python3)
  endif()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${script})
  file(STRINGS ${script} lines REGEX "^class |^    def test_")
  foreach(line IN LISTS lines)
    if(line MATCHES "^class ([A-Za-z]+)")
      set(class ${CMAKE_MATCH_1})
    elseif(line MATCHES "def test_([a-z_0-9]+)")
      set(promise ${CMAKE_MATCH_1})
      set(name ${prefix}.${promise})
      if(ARG_CLASSES)
        set(name ${prefix}.${class}.${promise})
      endif()
      if(ARG_SKIPPED)
        plinth_add_skipped_test(${name} ${ARG_SKIPPED})
        continue()
      endif()
      add_test(NAME ${name}
        COMMAND plinth_test_launcher ${ARG_INTERPRETER} -B
                ${PROJECT_SOURCE_DIR}/tests/support/python_test.py ${script} ${class}.test_${promise})
      set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT}
        SKIP_RETURN_CODE ${skip_return_code} ENVIRONMENT "${ARG_ENVIRONMENT}")
    endif()
  endforeach()
endfunction()
