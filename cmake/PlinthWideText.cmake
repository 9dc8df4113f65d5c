# plinth_check_wide_text(TARGET [ALLOW file...]): the build of a program or shared library fails if
# it contains wide text of 32 bits, or exports its own of 16 (docs/wide-text.md).
#
# The package file calls it, at the end of the directory that finds the package, for each target of
# that directory that links ours. Targets of other directories call it themselves. ALLOW lists
# static libraries that are known to be right: built with -fshort-wchar, or never called with wide
# text.

# The files of those static libraries of a link that this project doesn't compile with our options.
function(_plinth_foreign_archives target result)
  set(found "")
  set(seen "")
  get_target_property(waiting ${target} LINK_LIBRARIES)
  while(waiting)
    list(POP_FRONT waiting item)
    string(REGEX REPLACE "^\\$<LINK_ONLY:(.*)>$" "\\1" item "${item}")
    if(item MATCHES "\\.a$" AND EXISTS "${item}")
      list(APPEND found ${item})
    endif()
    if(NOT TARGET "${item}" OR item IN_LIST seen OR item MATCHES "^(plinth_|plinth::)")
      continue()
    endif()
    list(APPEND seen ${item})
    get_target_property(type ${item} TYPE)
    get_target_property(imported ${item} IMPORTED)
    if(type STREQUAL "STATIC_LIBRARY")
      get_target_property(libraries ${item} LINK_LIBRARIES)
      if(imported OR NOT "${libraries}" MATCHES "plinth::|plinth_w32_system")
        list(APPEND found $<TARGET_FILE:${item}>)
      endif()
    endif()
    foreach(property IN ITEMS LINK_LIBRARIES INTERFACE_LINK_LIBRARIES)
      if(property STREQUAL "LINK_LIBRARIES" AND type STREQUAL "INTERFACE_LIBRARY")
        continue()
      endif()
      get_target_property(more ${item} ${property})
      if(more)
        list(APPEND waiting ${more})
      endif()
    endforeach()
  endwhile()
  set(${result} ${found} PARENT_SCOPE)
endfunction()

function(plinth_check_wide_text target)
  cmake_parse_arguments(PARSE_ARGV 1 own "" "" "ALLOW")
  get_target_property(checked ${target} PLINTH_WIDE_TEXT_CHECKED)
  if(WIN32 OR checked OR NOT CMAKE_NM)
    return()
  endif()
  set_target_properties(${target} PROPERTIES PLINTH_WIDE_TEXT_CHECKED TRUE)
  get_target_property(options ${target} LINK_OPTIONS)
  if("${options} ${CMAKE_EXE_LINKER_FLAGS} ${CMAKE_SHARED_LINKER_FLAGS}" MATCHES "-static-libstdc")
    message(FATAL_ERROR "${target} links the C++ library statically (-static-libstdc++). Its wide text "
      "has 32 bits and would be mixed with ours of 16. Link the shared C++ library.")
  endif()
  _plinth_foreign_archives(${target} archives)
  add_custom_command(TARGET ${target} POST_BUILD VERBATIM
    COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} -DFILE=$<TARGET_FILE:${target}> -DNAME=${target}
            "-DARCHIVES=${archives}" "-DALLOW=${own_ALLOW}"
            -P ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/plinth_check_wide_text.cmake)
endfunction()

# For the package file: all targets of a directory that link ours.
function(_plinth_check_directory)
  get_property(targets DIRECTORY PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    get_target_property(libraries ${target} LINK_LIBRARIES)
    if(type MATCHES "^(EXECUTABLE|SHARED_LIBRARY|MODULE_LIBRARY)$" AND
       "${libraries}" MATCHES "plinth::w32_system|plinth_w32_system")
      plinth_check_wide_text(${target})
    endif()
  endforeach()
endfunction()
