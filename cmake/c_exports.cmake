# Writes a module definition with the names of C linkage out of one with all names (-D): ALL is the
# linker's, DLL the name of the library, RESULT what is written.
file(STRINGS ${ALL} lines REGEX "^ +[A-Za-z]")
set(names "")
foreach(line IN LISTS lines)
  if(line MATCHES "^ +([A-Za-z][A-Za-z0-9_]*) @[0-9]+$")
    string(APPEND names "    ${CMAKE_MATCH_1}\n")
  endif()
endforeach()
if(names STREQUAL "")
  message(FATAL_ERROR "${ALL} has no names")
endif()
file(WRITE ${RESULT} "LIBRARY ${DLL}\nEXPORTS\n${names}")
