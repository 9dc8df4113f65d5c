# Run by CPack when the components' files are laid out: adds what Debian's policy wants in every
# package (copyright and changelog), the examples, and compresses manual pages.
function(compress)
  execute_process(COMMAND gzip -9n ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(pair IN LISTS CPACK_PLINTH_DEBIAN_PACKAGES)
  string(REGEX MATCH "^(.*)=(.*)$" pair "${pair}")
  set(root ${CPACK_TEMPORARY_DIRECTORY}/${CMAKE_MATCH_1})
  set(package ${CMAKE_MATCH_2})
  if(NOT IS_DIRECTORY ${root})
    message(FATAL_ERROR "There are no files for ${package} in ${root}")
  endif()
  set(documents ${root}/usr/share/doc/${package})
  set(debian ${CPACK_PLINTH_SOURCE}/cmake/debian)
  file(COPY ${debian}/copyright ${debian}/changelog DESTINATION ${documents})
  compress(${documents}/changelog)
  file(GLOB pages ${root}/usr/share/man/man*/*)
  if(pages)
    compress(${pages})
  endif()
  if(EXISTS ${debian}/${package}.lintian-overrides)
    file(MAKE_DIRECTORY ${root}/usr/share/lintian/overrides)
    file(COPY_FILE ${debian}/${package}.lintian-overrides
         ${root}/usr/share/lintian/overrides/${package})
  endif()
  if(package STREQUAL "libplinth-dev")
    file(COPY ${CPACK_PLINTH_SOURCE}/examples/consumer ${CPACK_PLINTH_SOURCE}/examples/guide
         ${CPACK_PLINTH_SOURCE}/examples/port DESTINATION ${documents}/examples)
  endif()
  # Whatever umask the packager has.
  execute_process(COMMAND chmod -R u+rwX,go=rX ${root} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
