# plinth_check_wide_text runs this after a link, with NM, FILE, NAME, ARCHIVES, ALLOW. A file that
# fails is removed, so that the next build tries again.
cmake_minimum_required(VERSION 3.25)

function(names result)
  execute_process(COMMAND ${NM} ${ARGN} OUTPUT_VARIABLE out ERROR_QUIET)
  string(REGEX REPLACE "@[^\n]*" "" out "${out}")
  set(${result} "${out}" PARENT_SCOPE)
endfunction()

set(faults "")
# Mangled names in namespace std with wchar_t as an argument of the template.
set(wide_template "_ZT?[VTSI]?N?K?R?S[ta][0-9A-Za-z_]*I[PK]*w[0-9A-Za-z_]*")
set(wide_function "(wcs|wmem|mbs?r?towcs|wcs?r?tombs|f?[gp]utw|f?getw|[a-z]*wprintf|[a-z]*wscanf)[a-z]*")

names(dynamic -D --defined-only ${FILE})
if(dynamic MATCHES "[0-9a-f]+ [A-Za-z] (${wide_template})\n")
  list(APPEND faults "it shows others its 16-bit ${CMAKE_MATCH_1}. It has a version script of its own: copy the lines of plinth_wide.map into its \"local\" part.")
endif()

names(all ${FILE})
if(all MATCHES "[0-9a-f]+ T _ZNSt6locale7classicEv\n")
  list(APPEND faults "it has the C++ library in it (-static-libstdc++), whose own wide text has 32 bits. Link the shared one.")
endif()
if(all MATCHES "[0-9a-f]+ [Tt] open_wmemstream\n")
  list(APPEND faults "it calls open_wmemstream, which has no 16-bit form. Use std::wostringstream.")
endif()

foreach(archive IN LISTS ARCHIVES)
  get_filename_component(base ${archive} NAME)
  if(base IN_LIST ALLOW OR archive IN_LIST ALLOW)
    continue()
  endif()
  names(inside -A ${archive})
  if(inside MATCHES "[^\n:]*:([^\n:]*):[0-9a-f ]*[A-Za-z] (${wide_template}|_*${wide_function})\n")
    list(APPEND faults "${base} (${CMAKE_MATCH_1}) uses ${CMAKE_MATCH_2} and wasn't built with our options, so with 32 bits. Build it with -fshort-wchar, or take it as a shared library, or, if nothing calls it with wide text: plinth_check_wide_text(${NAME} ALLOW ${base}).")
  endif()
endforeach()

if(faults)
  file(REMOVE ${FILE})
  list(JOIN faults "\n  " lines)
  message(FATAL_ERROR "Wide text of two widths in ${NAME}:\n  ${lines}")
endif()
