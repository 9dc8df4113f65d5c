# Checks the processor and the compiler: configuring reports an unsupported one before a build
# fails, or behaves differently from the tested builds.

# The stack walk of an assertion report and the layout of a module's image are for x86-64 only.
if(NOT CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|amd64|AMD64)$" OR NOT CMAKE_SIZEOF_VOID_P EQUAL 8)
  math(EXPR bits "8 * ${CMAKE_SIZEOF_VOID_P}")
  set(processor "${CMAKE_SYSTEM_PROCESSOR}")
  if(processor STREQUAL "")
    set(processor "an unknown processor")
  endif()
  message(FATAL_ERROR "plinth: this build is for ${processor} with ${bits} bits, and "
                      "plinth runs on x86-64 with 64 bits only.")
endif()

if(NOT CMAKE_CXX_COMPILE_FEATURES MATCHES "cxx_std_20")
  message(FATAL_ERROR "plinth: the compiler ${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION} "
                      "does not know C++20, in which plinth is written.")
endif()

# Major versions. With other ones plinth is likely to work, but no test has shown it.
set(tried_GNU 12)
set(tried_Clang 14)
if(WIN32)
  unset(tried_Clang)
endif()
string(REGEX MATCH "^[0-9]+" major "${CMAKE_CXX_COMPILER_VERSION}")
if(NOT major STREQUAL "${tried_${CMAKE_CXX_COMPILER_ID}}")
  set(tried "GCC ${tried_GNU}")
  if(tried_Clang)
    string(APPEND tried " and Clang ${tried_Clang}")
  endif()
  message(WARNING "plinth: the compiler ${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION} has "
                  "not been tried; tried for this system: ${tried}.")
endif()
