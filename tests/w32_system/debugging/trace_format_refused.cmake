# Compiles calls of PLINTH_TRACE whose formats don't fit, and looks for the reason in what the
# compiler says: cmake -D COMPILE="COMPILER FLAGS..." -D FOLDER=... -P trace_format_refused.cmake
set(rows
  [=[L"%d %s", 1, L"x"              | ]=]
  [=[L"%s", "narrow"                | needs_wide_text]=]
  [=[L"%hs", L"wide"                | needs_narrow_text]=]
  [=[L"%d", 1LL                     | up_to_32_bits]=]
  [=[L"%ld", sizeof(int)            | up_to_32_bits]=]
  [=[L"%*d", 1LL, 1                 | up_to_32_bits]=]
  [=[L"%I64d", 1                    | of_64_bits]=]
  [=[L"%.2f", 1                     | a_float_or_a_double]=]
  [=[L"%p", 1                       | needs_a_pointer]=]
  [=[L"%d %d", 1                    | fewer_arguments]=]
  [=[L"%d", 1, 2                    | more_arguments]=]
  [=[L"100 %", 1                    | no_directive]=]
  [=[text, 1                        | constant]=])
set(failed "")
set(source "${FOLDER}/refused.cpp")
foreach(row IN LISTS rows)
  string(REGEX MATCH "^(.*[^ ]) *[|] *([a-z_0-9]*) *$" ignored "${row}")
  set(arguments "${CMAKE_MATCH_1}")
  set(reason "${CMAKE_MATCH_2}")
  file(WRITE ${source} "#include <plinth_w32_system.h>\n"
       "void f(const wchar_t* text) { static_cast<void>(text); PLINTH_TRACE(${arguments}); }\n")
  execute_process(COMMAND ${COMPILE} -fsyntax-only ${source} RESULT_VARIABLE status
                  ERROR_VARIABLE said)
  if(reason STREQUAL "" AND NOT status EQUAL 0)
    string(APPEND failed "not compiled: ${arguments}\n${said}\n")
  elseif(NOT reason STREQUAL "" AND (status EQUAL 0 OR NOT said MATCHES "${reason}"))
    string(APPEND failed "${arguments} should be refused for ${reason}; ${status}:\n${said}\n")
  endif()
endforeach()
if(failed)
  message(FATAL_ERROR "${failed}")
endif()
