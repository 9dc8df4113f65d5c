# plinth_add_resources(TARGET
#                      [FILE TYPE NAME PATH]...      the content of a file
#                      [TEXT TYPE NAME TEXT]...      UTF-16, without a terminator
#                      [BYTES TYPE NAME HEX]...      bytes, two hexadecimal digits each
#                      )
#
# Gives an executable or shared library resources, which programs find in its file with
# FindResourceW. TYPE and NAME are texts, which have no case, or numbers below 65,536 (10 is RCDATA);
# the language is neutral. A target is given its resources in one call. For instance, where a program
# logs, and in which character set:
#
#     plinth_add_resources(editor
#       TEXT LOGFILEDIR LogFileDir "Acme\\Editor"
#       BYTES LOGFILECHARSET Unicode_Enabled 01)
#
# On Linux they go into the section ".rsrc" of the file: the tree that a PE file has in the section
# of that name, in which addresses count from the start of the section. On Windows a resource script
# goes to the resource compiler; the project has to enable the language RC.

# A text as UTF-16: a list of numbers.
function(_plinth_utf16 text result)
  string(HEX "${text}" hex)
  set(units "")
  string(LENGTH "${hex}" length)
  set(at 0)
  while(at LESS length)
    string(SUBSTRING "${hex}" ${at} 2 byte)
    math(EXPR value "0x${byte}")
    if(value LESS 0x80)
      set(more 0)
    elseif(value LESS 0xE0)
      set(more 1)
      math(EXPR value "${value} & 0x1F")
    elseif(value LESS 0xF0)
      set(more 2)
      math(EXPR value "${value} & 0x0F")
    else()
      set(more 3)
      math(EXPR value "${value} & 0x07")
    endif()
    math(EXPR at "${at} + 2")
    while(more GREATER 0)
      string(SUBSTRING "${hex}" ${at} 2 byte)
      math(EXPR value "(${value} << 6) | (0x${byte} & 0x3F)")
      math(EXPR at "${at} + 2")
      math(EXPR more "${more} - 1")
    endwhile()
    if(value GREATER 0xFFFF)
      math(EXPR high "0xD800 + ((${value} - 0x10000) >> 10)")
      math(EXPR value "0xDC00 + ((${value} - 0x10000) & 0x3FF)")
      list(APPEND units ${high})
    endif()
    list(APPEND units ${value})
  endwhile()
  set(${result} "${units}" PARENT_SCOPE)
endfunction()

# A type or name in a form that sorts as the tree wants it: texts in capitals, then numbers.
function(_plinth_resource_id given result)
  if(given MATCHES "^[0-9]+$")
    if(given GREATER 65535)
      message(FATAL_ERROR "plinth_add_resources: ${given} is no number below 65,536")
    endif()
    math(EXPR padded "100000 + ${given}")
    set(${result} "1${padded}" PARENT_SCOPE)
  elseif(given MATCHES "^[A-Za-z_][A-Za-z0-9_.-]*$")
    string(TOUPPER "${given}" upper)
    set(${result} "0${upper}" PARENT_SCOPE)
  else()
    message(FATAL_ERROR "plinth_add_resources: \"${given}\" is no type or name: letters, digits, "
                        "_ . - are, and numbers")
  endif()
endfunction()

# What an entry of the tree holds for an id, and the text of a named one behind the tables.
macro(_plinth_resource_entry id label)
  string(SUBSTRING "${id}" 0 1 kind)
  string(SUBSTRING "${id}" 1 -1 rest)
  if(kind EQUAL 1)
    math(EXPR number "${rest} - 100000")
    set(entry "${number}")
  else()
    set(entry "0x80000000 + ${label} - plinth_rsrc")
    string(LENGTH "${rest}" length)
    _plinth_utf16("${rest}" units)
    list(JOIN units ", " units)
    string(APPEND texts "${label}: .short ${length}\n.short ${units}\n")
  endif()
endmacro()

# The head of a directory: how many of its entries are named and numbered.
macro(_plinth_resource_directory ids)
  set(named 0)
  set(numbered 0)
  foreach(id IN LISTS ${ids})
    if(id MATCHES "^0")
      math(EXPR named "${named} + 1")
    else()
      math(EXPR numbered "${numbered} + 1")
    endif()
  endforeach()
  set(head ".long 0, 0, 0\n.short ${named}, ${numbered}\n")
endmacro()

function(plinth_add_resources target)
  get_target_property(has_some ${target} PLINTH_RESOURCES)
  if(has_some)
    message(FATAL_ERROR "plinth_add_resources: ${target} has its resources already")
  endif()
  set_target_properties(${target} PROPERTIES PLINTH_RESOURCES TRUE)

  # By type, then name: the content, in the words of the assembler or the resource compiler.
  set(types "")
  set(files "")
  set(script "")
  math(EXPR left_over "(${ARGC} - 1) % 4")
  if(ARGC EQUAL 1 OR left_over)
    message(FATAL_ERROR "plinth_add_resources: each resource has a kind, a type, a name and a "
                        "content")
  endif()
  # By their numbers: as a list they would lose an empty text, and one with a semicolon would be two.
  set(argument 1)
  while(argument LESS ARGC)
    foreach(part IN ITEMS kind type name content)
      set(${part} "${ARGV${argument}}")
      math(EXPR argument "${argument} + 1")
    endforeach()
    _plinth_resource_id("${type}" type_id)
    _plinth_resource_id("${name}" name_id)
    if(DEFINED content_${type_id}_${name_id})
      message(FATAL_ERROR "plinth_add_resources: ${type} ${name} is there twice")
    endif()
    if(kind STREQUAL "FILE")
      get_filename_component(path "${content}" ABSOLUTE BASE_DIR ${CMAKE_CURRENT_SOURCE_DIR})
      list(APPEND files ${path})
      string(REGEX REPLACE "([\"\\\\])" "\\\\\\1" quoted "${path}")
      set(data ".incbin \"${quoted}\"")
      string(APPEND script "${name} ${type} \"${quoted}\"\n")
    elseif(kind STREQUAL "TEXT")
      _plinth_utf16("${content}" units)
      list(JOIN units ", " units)
      set(data "")
      if(NOT units STREQUAL "")
        set(data ".short ${units}")
      endif()
      string(APPEND script "${name} ${type} { ${units} }\n")
    elseif(kind STREQUAL "BYTES" AND content MATCHES "^([0-9A-Fa-f][0-9A-Fa-f])+$")
      string(REGEX MATCHALL ".." pairs "${content}")
      list(TRANSFORM pairs PREPEND "0x")
      list(JOIN pairs ", " bytes)
      set(data ".byte ${bytes}")
      string(REGEX REPLACE "(..)" "\\\\x\\1" escaped "${content}")
      string(APPEND script "${name} ${type} { \"${escaped}\" }\n")
    else()
      message(FATAL_ERROR "plinth_add_resources: \"${kind} ${content}\" is not understood")
    endif()
    set(content_${type_id}_${name_id} "${data}")
    list(APPEND types ${type_id})
    list(APPEND names_${type_id} ${name_id})
  endwhile()

  set(base ${CMAKE_CURRENT_BINARY_DIR}/${target}_resources)
  if(WIN32)
    file(GENERATE OUTPUT ${base}.rc CONTENT "${script}")
    set(source ${base}.rc)
  else()
    list(REMOVE_DUPLICATES types)
    list(SORT types)
    set(texts "")
    set(names_part "")
    set(languages_part "")
    set(descriptions "")
    set(contents "")
    _plinth_resource_directory(types)
    set(root "${head}")
    set(t 0)
    foreach(type IN LISTS types)
      _plinth_resource_entry("${type}" "plinth_rsrc_t${t}")
      string(APPEND root ".long ${entry}, 0x80000000 + plinth_rsrc_n${t} - plinth_rsrc\n")
      list(SORT names_${type})
      _plinth_resource_directory(names_${type})
      string(APPEND names_part "plinth_rsrc_n${t}:\n${head}")
      set(n 0)
      foreach(name IN LISTS names_${type})
        set(label "${t}_${n}")
        _plinth_resource_entry("${name}" "plinth_rsrc_x${label}")
        string(APPEND names_part
               ".long ${entry}, 0x80000000 + plinth_rsrc_l${label} - plinth_rsrc\n")
        string(APPEND languages_part "plinth_rsrc_l${label}:\n.long 0, 0, 0\n.short 0, 1\n"
               ".long 0, plinth_rsrc_d${label} - plinth_rsrc\n")
        string(APPEND descriptions "plinth_rsrc_d${label}:\n"
               ".long plinth_rsrc_c${label} - plinth_rsrc\n"
               ".long plinth_rsrc_e${label} - plinth_rsrc_c${label}\n.long 0, 0\n")
        string(APPEND contents ".balign 8\nplinth_rsrc_c${label}:\n"
               "${content_${type}_${name}}\nplinth_rsrc_e${label}:\n")
        math(EXPR n "${n} + 1")
      endforeach()
      math(EXPR t "${t} + 1")
    endforeach()
    # 'R': stays also if the linker drops what nobody refers to. Labels beginning with ".L" would
    # stay out of the symbol table, but they are not everywhere; these are local at least.
    set(source ${base}.cpp)
    file(GENERATE OUTPUT ${source} CONTENT
"// The resources of ${target}, written by plinth_add_resources.
__asm__(R\"plinth(
.section .rsrc,\"aR\",%progbits
.balign 8
plinth_rsrc:
${root}${names_part}${languages_part}${descriptions}${texts}${contents}.balign 8
.text
)plinth\");
")
    set_source_files_properties(${source} PROPERTIES OBJECT_DEPENDS "${files}")
  endif()
  target_sources(${target} PRIVATE ${source})
endfunction()
