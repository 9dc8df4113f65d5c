# Writes a module definition with only the names of C linkage. Arguments (-D): ALL, the linker's
# definition with all names; DLL, the name of the library; RESULT, the file to write.
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
