# plinth_write_wide_map(file): a version script that keeps the C++ library's names over wchar_t
# local.
#
# The compiler puts these templates, with 16 bits, into every program and library that uses them;
# other modules of the process have the same names with 32 bits. Only names that contain wchar_t are
# listed: other templates that a library specialises in namespace std stay exported. A glob can't
# match types, so each pattern below is a way in which the mangled form has wchar_t ("w") as a type:
# "I" begins the arguments of a template, "K" is const, "P" a pointer, "E" ends a list, "_" ends a
# name seen before.
function(plinth_write_wide_map file)
  # Names of namespace std and of __gnu_cxx: functions, members, statics of both, tables.
  set(places _ZSt _ZNSt _ZNKSt _ZNRSt _ZNKRSt _ZNOSt _ZNSa _ZNKSa _ZN9__gnu_cxx _ZNK9__gnu_cxx)
  foreach(place IN ITEMS St NSt NKSt N9__gnu_cxx NK9__gnu_cxx)
    list(APPEND places _ZZ${place} _ZGVZ${place})
  endforeach()
  list(APPEND places _ZGVNSt "_ZGRNSt" "_ZT[VTISC]St" "_ZT[VTISC]NSt" "_ZT[VTISC]N9__gnu_cxx"
       "_ZTh*_NSt" "_ZTh*_NKSt" "_ZTv*_NSt" "_ZTv*_NKSt" "_ZTv*_N9__gnu_cxx")
  set(needles "Iw" "Kw" "Pw" "I[a-z]wE" "I[a-z]wS" "EwE" "EwS" "_wE" "_wS" "Fvw" "Fw")
  # In these only the result is wide text, and a result is no part of a mangled name.
  set(lines "_ZNSt7__cxx1110to_wstring*" "_ZNKSt10filesystem*wstring*" "_ZSt4wcin" "_ZSt5wcout"
      "_ZSt5wcerr" "_ZSt5wclog" "_ZNSt8literals*KwE*" "_ZNSt8literals*EPKwm")
  foreach(place IN LISTS places)
    foreach(needle IN LISTS needles)
      list(APPEND lines "${place}*${needle}*")
    endforeach()
  endforeach()
  list(JOIN lines ";\n    " lines)
  file(CONFIGURE OUTPUT ${file} @ONLY CONTENT
"/* Written by cmake/wide_names.cmake: the C++ library's names over wchar_t, which has 16 bits here,
   are not exported. To be copied into the \"local\" part of a version script of one's own. */
{
  local:
    ${lines};
};
")
endfunction()
