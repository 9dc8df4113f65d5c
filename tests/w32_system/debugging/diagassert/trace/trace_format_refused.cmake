# Compiles calls of PLINTH_TRACE whose formats don't fit, and looks for the reason in the compiler's
# messages: cmake -D COMPILE="COMPILER FLAGS..." -D FOLDER=... -P trace_format_refused.cmake
set(rows
  [=[L"%d %s", 1, L"x"              | ]=]
  [=[L"%s", "narrow"                | NeedsWideText]=]
  [=[L"%hs", L"wide"                | NeedsNarrowText]=]
  [=[L"%d", 1LL                     | UpTo32Bits]=]
  [=[L"%ld", sizeof(int)            | UpTo32Bits]=]
  [=[L"%*d", 1LL, 1                 | UpTo32Bits]=]
  [=[L"%I64d", 1                    | Of64Bits]=]
  [=[L"%.2f", 1                     | AFloatOrADouble]=]
  [=[L"%p", 1                       | NeedsAPointer]=]
  [=[L"%d %d", 1                    | FewerArguments]=]
  [=[L"%d", 1, 2                    | MoreArguments]=]
  [=[L"100 %", 1                    | NoDirective]=]
  [=[text, 1                        | constant]=])
set(failed "")
set(source "${FOLDER}/refused.cpp")
foreach(row IN LISTS rows)
  string(REGEX MATCH "^(.*[^ ]) *[|] *([A-Za-z0-9]*) *$" ignored "${row}")
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
