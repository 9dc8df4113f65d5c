# Windows developers expect these of DLLs and programs: version values, symbols in a separate file,
# and an import library for other compilers. On other systems the functions do nothing.
option(PLINTH_SEPARATE_SYMBOLS
       "Windows: move debug symbols out of DLLs and programs, into TARGET.debug beside them" OFF)

# plinth_windows_file(TARGET DESCRIPTION)
function(plinth_windows_file target description)
  if(NOT WIN32)
    return()
  endif()
  get_target_property(type ${target} TYPE)
  set(kind 1) # a program
  if(type STREQUAL "SHARED_LIBRARY")
    set(kind 2)
  endif()
  string(REPLACE "." "," numbers ${plinth_VERSION})
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc)
  # 1200 is the number of UTF-16, 0x409 American English.
  file(GENERATE OUTPUT ${script} CONTENT "LANGUAGE 0, 0
1 VERSIONINFO
FILEVERSION ${numbers},0
PRODUCTVERSION ${numbers},0
FILEOS 0x40004
FILETYPE ${kind}
{
  BLOCK \"StringFileInfo\"
  {
    BLOCK \"040904B0\"
    {
      VALUE \"CompanyName\", \"The plinth maintainers\"
      VALUE \"FileDescription\", \"${description}\"
      VALUE \"FileVersion\", \"${plinth_VERSION}\"
      VALUE \"InternalName\", \"${target}\"
      VALUE \"OriginalFilename\", \"$<TARGET_FILE_NAME:${target}>\"
      VALUE \"ProductName\", \"plinth\"
      VALUE \"ProductVersion\", \"${plinth_VERSION}\"
    }
  }
  BLOCK \"VarFileInfo\"
  {
    VALUE \"Translation\", 0x409, 1200
  }
}
")
  target_sources(${target} PRIVATE ${script})
  if(PLINTH_SEPARATE_SYMBOLS)
    set(file $<TARGET_FILE:${target}>)
    add_custom_command(TARGET ${target} POST_BUILD VERBATIM
      COMMAND ${CMAKE_OBJCOPY} --only-keep-debug ${file} ${file}.debug
      COMMAND ${CMAKE_STRIP} --strip-all ${file}
      COMMAND ${CMAKE_OBJCOPY} --add-gnu-debuglink=${file}.debug ${file})
  endif()
endfunction()

# plinth_import_library(TARGET): makes TARGET.def and TARGET.lib, for the linkers of other
# compilers. They are installed, and have only the functions with C linkage; all other names depend
# on the compiler.
function(plinth_import_library target)
  if(NOT WIN32 OR NOT PLINTH_INSTALL)
    return()
  endif()
  find_program(PLINTH_LLVM_DLLTOOL NAMES llvm-dlltool llvm-dlltool-14
               DOC "Makes the import library for other compilers")
  if(NOT PLINTH_LLVM_DLLTOOL)
    message(STATUS "plinth: no llvm-dlltool, so no import library for other compilers")
    return()
  endif()
  set(base ${CMAKE_CURRENT_BINARY_DIR}/${target})
  target_link_options(${target} PRIVATE -Wl,--output-def,${base}.all.def)
  set(script ${PROJECT_SOURCE_DIR}/cmake/c_exports.cmake)
  add_custom_command(TARGET ${target} POST_BUILD VERBATIM
    COMMAND ${CMAKE_COMMAND} -DALL=${base}.all.def -DDLL=$<TARGET_FILE_NAME:${target}>
            -DRESULT=${base}.def -P ${script}
    COMMAND ${PLINTH_LLVM_DLLTOOL} -m i386:x86-64 -d ${base}.def -l ${base}.lib
    BYPRODUCTS ${base}.def ${base}.lib)
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
  set_target_properties(${target} PROPERTIES PLINTH_IMPORT_LIBRARY ${base})
endfunction()
