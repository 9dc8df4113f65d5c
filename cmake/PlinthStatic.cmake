# plinth::w32_system_static (PLINTH_STATIC): the three libraries as one archive, for a program that is
# to be one file. The archive has one object, for two reasons. All of the library comes into the
# program, also code that nothing calls and initialisers; and their order is fixed: the stand-in, the
# threads, the library, as the loader initialises the shared libraries.
if(WIN32)
  message(FATAL_ERROR "plinth: PLINTH_STATIC is for Linux; on Windows the library is a DLL only.")
endif()

set(folder ${CMAKE_CURRENT_BINARY_DIR})
set(PLINTH_STATIC_ARCHIVE ${folder}/libplinth_w32_system_static.a)
set(PLINTH_STATIC_ARCHIVE ${PLINTH_STATIC_ARCHIVE} PARENT_SCOPE)
set(below $<TARGET_OBJECTS:plinth_platform> $<TARGET_OBJECTS:plinth_w32_pthreadVC>)
set(above $<TARGET_OBJECTS:plinth_w32_system>)
# Of inline functions each object has a copy, marked as one of many. Here the copies become one, with
# no mark: the linker can't take the program's copy for it and drop ours.
set(merge ${CMAKE_LINKER} -r --force-group-allocation)
# What acts at the start and at the end without a priority gets one: the library then acts before the
# program's static objects are made and after they have gone, as a shared one does. 101 is the
# stand-in's own (system/fork.cpp), 201 to 205 are the library's (static_objects.h).
foreach(part IN ITEMS below=102 above=206)
  string(REGEX MATCH "^(.*)=(.*)$" part ${part})
  set(early_${CMAKE_MATCH_1} --rename-section .init_array=.init_array.00${CMAKE_MATCH_2}
                             --rename-section .fini_array=.fini_array.00${CMAKE_MATCH_2})
endforeach()
# Names that a shared library of ours keeps to itself, as patterns of objcopy.
file(READ ${PROJECT_SOURCE_DIR}/cmake/own_names.map text)
string(REGEX MATCHALL "_Z[A-Za-z0-9_]+\\*" patterns "${text}")
list(TRANSFORM patterns PREPEND --localize-symbol=)
set(own --localize-hidden --wildcard ${patterns})
add_custom_command(OUTPUT ${PLINTH_STATIC_ARCHIVE} VERBATIM COMMAND_EXPAND_LISTS
  # Of the assertion report alone the line table is needed in a program that has no other.
  COMMAND ${CMAKE_LINKER} -r $<$<CONFIG:Release,MinSizeRel>:-S> -o plinth_below.o ${below}
  COMMAND ${CMAKE_OBJCOPY} ${early_below} plinth_below.o
  COMMAND ${CMAKE_LINKER} -r -o plinth_above.o ${above}
  COMMAND ${CMAKE_OBJCOPY} ${early_above} plinth_above.o
  COMMAND ${merge} -o plinth_all.o plinth_below.o plinth_above.o
  COMMAND ${CMAKE_OBJCOPY} ${own} plinth_all.o
  COMMAND ${CMAKE_COMMAND} -E rm -f ${PLINTH_STATIC_ARCHIVE}
  COMMAND ${CMAKE_AR} qcsD ${PLINTH_STATIC_ARCHIVE} plinth_all.o
  DEPENDS ${below} ${above} WORKING_DIRECTORY ${folder}
  COMMENT "Linking libplinth_w32_system_static.a")
add_custom_target(plinth_static_archive ALL DEPENDS ${PLINTH_STATIC_ARCHIVE})

add_library(plinth_static INTERFACE)
add_library(plinth::w32_system_static ALIAS plinth_static)
set_target_properties(plinth_static PROPERTIES EXPORT_NAME w32_system_static)
add_dependencies(plinth_static plinth_static_archive)
target_compile_features(plinth_static INTERFACE cxx_std_17)
target_compile_options(plinth_static INTERFACE -fshort-wchar)
target_include_directories(plinth_static INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src/w32_system>
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src/w32_pthreadVC>
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src/platform/include>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/plinth>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/plinth/platform>)
# Its threads and handlers stay when a library that has it in it is closed, and so must its code.
target_link_options(plinth_static INTERFACE
  $<$<IN_LIST:$<TARGET_PROPERTY:TYPE>,SHARED_LIBRARY;MODULE_LIBRARY>:-Wl,-z,nodelete>)
target_link_libraries(plinth_static INTERFACE
  $<$<NOT:$<BOOL:$<TARGET_PROPERTY:PLINTH_WITHOUT_WIDE_TEXT>>>:$<TARGET_NAME:plinth_wide_static>>
  $<BUILD_INTERFACE:${PLINTH_STATIC_ARCHIVE}>
  $<INSTALL_INTERFACE:$<INSTALL_PREFIX>/${CMAKE_INSTALL_LIBDIR}/libplinth_w32_system_static.a>
  Threads::Threads ${CMAKE_DL_LIBS})
