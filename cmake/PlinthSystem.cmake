# The processor that plinth runs on, and the compilers that it is tried with. Configuring reports
# others, before a build fails, or behaves in a way that was not tested.

# The stack of an assertion report is walked, and a module's image laid out, as x86-64 has them.
if(NOT CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|amd64|AMD64)$" OR NOT CMAKE_SIZEOF_VOID_P EQUAL 8)
  math(EXPR bits "8 * ${CMAKE_SIZEOF_VOID_P}")
  message(FATAL_ERROR "plinth: this build is for ${CMAKE_SYSTEM_PROCESSOR} with ${bits} bits, and "
                      "plinth runs on x86-64 with 64 bits only.")
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
