# Installing: components runtime (the libraries), development (headers, CMake package, pkg-config
# file), tools (the programs and their manual pages) and desktop (the plug-in that shows windows
# and the viewer with a window, which need more packages than the others). The installed tree can be
# moved: libraries and programs find each other by $ORIGIN, the package files by their own path.
include(CMakePackageConfigHelpers)

set(libraries plinth_w32_system plinth_w32_pthreadVC)
if(TARGET plinth_platform)
  list(APPEND libraries plinth_platform)
endif()
set(programs "")
foreach(program IN ITEMS plinth-trace plinth-demo)
  if(TARGET ${program})
    list(APPEND programs ${program})
  endif()
endforeach()

if(TARGET plinth_desktop_qt)
  # Where the stand-in looks for it.
  install(TARGETS plinth_desktop_qt COMPONENT desktop
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/${PLINTH_PRIVATE_FOLDER})
endif()

file(RELATIVE_PATH from_bin_to_lib /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
set_target_properties(${libraries} PROPERTIES INSTALL_RPATH "$ORIGIN")
if(programs)
  set_target_properties(${programs} PROPERTIES INSTALL_RPATH "$ORIGIN/${from_bin_to_lib}")
  install(TARGETS ${programs} RUNTIME COMPONENT tools)
endif()
if(TARGET plinth-trace-window)
  # Beside plinth-trace, which starts it.
  set_target_properties(plinth-trace-window PROPERTIES
    INSTALL_RPATH "$ORIGIN/${from_bin_to_lib}")
  install(TARGETS plinth-trace-window RUNTIME COMPONENT desktop)
  if(NOT WIN32)
    install(FILES docs/man/plinth-trace-window.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
            COMPONENT desktop)
  endif()
endif()
if(TARGET plinth-trace AND NOT WIN32)
  install(FILES docs/man/plinth-trace.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
endif()

if(TARGET plinth_wide)
  install(TARGETS plinth_wide EXPORT plinth_w32_system_targets ARCHIVE COMPONENT development)
  install(FILES ${PROJECT_BINARY_DIR}/plinth_wide.map
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/plinth COMPONENT development)
endif()
set(header_folder ${CMAKE_INSTALL_INCLUDEDIR}/plinth)
foreach(library IN LISTS libraries)
  set(headers FILE_SET HEADERS DESTINATION ${header_folder} COMPONENT development)
  if(library STREQUAL "plinth_platform")
    set(folder ${header_folder}/platform)
    set(headers FILE_SET HEADERS DESTINATION ${folder} COMPONENT development
                FILE_SET neighbours DESTINATION ${folder} COMPONENT development)
  endif()
  install(TARGETS ${library} EXPORT plinth_w32_system_targets
    RUNTIME COMPONENT runtime
    LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE COMPONENT development
    ${headers})
endforeach()
if(TARGET plinth_static)
  install(FILES ${PLINTH_STATIC_ARCHIVE} DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  install(TARGETS plinth_static plinth_wide_static EXPORT plinth_w32_system_targets)
endif()

# The compiler's run-time DLLs, which a program and our DLLs must share: memory and threads pass
# between them. With their licences.
if(WIN32 AND MINGW)
  foreach(dll IN ITEMS libgcc_s_seh-1.dll libstdc++-6.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll} OUTPUT_VARIABLE path
                    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    if(NOT IS_ABSOLUTE "${path}") # its output for a file that it doesn't know
      message(FATAL_ERROR "${CMAKE_CXX_COMPILER} has no ${dll}")
    endif()
    # Debian's have their debug symbols, which are nearly all of them.
    set(stripped ${PROJECT_BINARY_DIR}/runtime/${dll})
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/runtime)
    execute_process(COMMAND ${CMAKE_STRIP} --strip-all -o ${stripped} ${path}
                    COMMAND_ERROR_IS_FATAL ANY)
    install(FILES ${stripped} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
  endforeach()
  foreach(package IN ITEMS gcc-mingw-w64-base mingw-w64-common)
    if(EXISTS /usr/share/doc/${package}/copyright)
      install(FILES /usr/share/doc/${package}/copyright RENAME ${package}.txt
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/plinth/licences COMPONENT runtime)
    endif()
  endforeach()
endif()

if(WIN32)
  get_target_property(import_library plinth_w32_system PLINTH_IMPORT_LIBRARY)
  if(import_library)
    install(FILES ${import_library}.def ${import_library}.lib
            DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  endif()
  set(documents .)
else()
  set(documents ${CMAKE_INSTALL_DOCDIR})
endif()
# Laid out as in the source tree: comments of headers and the documents themselves name them so.
install(FILES README.md CHANGELOG.md DESTINATION ${documents} COMPONENT development)
install(DIRECTORY examples DESTINATION ${documents} COMPONENT development USE_SOURCE_PERMISSIONS)
install(DIRECTORY docs DESTINATION ${documents} COMPONENT development
        FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.png" PATTERN reference EXCLUDE
        PATTERN man EXCLUDE)
if(WIN32)
  if(PLINTH_SEPARATE_SYMBOLS)
    foreach(target IN ITEMS plinth_w32_system plinth_w32_pthreadVC ${programs})
      install(FILES $<TARGET_FILE:${target}>.debug DESTINATION ${CMAKE_INSTALL_BINDIR}
              COMPONENT symbols)
    endforeach()
  endif()
endif()

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/plinth_w32_system)
install(EXPORT plinth_w32_system_targets NAMESPACE plinth:: DESTINATION ${package_folder}
  COMPONENT development)
set(PLINTH_RC_PATH ${CMAKE_INSTALL_BINDIR}/plinth-rc)
configure_package_config_file(cmake/plinth_w32_systemConfig.cmake.in
  ${PROJECT_BINARY_DIR}/plinth_w32_systemConfig.cmake INSTALL_DESTINATION ${package_folder}
  PATH_VARS PLINTH_RC_PATH)
if(NOT WIN32)
  install(PROGRAMS tools/plinth-rc/plinth-rc DESTINATION ${CMAKE_INSTALL_BINDIR}
          COMPONENT development)
  install(FILES docs/man/plinth-rc.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
          COMPONENT development)
endif()
# Before 1.0 a minor version may change the interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/plinth_w32_systemConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/plinth_w32_systemConfig.cmake
  ${PROJECT_BINARY_DIR}/plinth_w32_systemConfigVersion.cmake cmake/PlinthResources.cmake
  cmake/PlinthWideText.cmake cmake/plinth_check_wide_text.cmake
  DESTINATION ${package_folder} COMPONENT development)

if(TARGET plinth_platform)
  file(RELATIVE_PATH from_pc_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  string(REGEX REPLACE "/$" "" from_pc_to_prefix ${from_pc_to_prefix})
  set(pc_name plinth_w32_system)
  set(pc_libraries "-lplinth_w32_system -lplinth_w32_pthreadVC -lplinth_platform")
  configure_file(cmake/plinth_w32_system.pc.in ${PROJECT_BINARY_DIR}/plinth_w32_system.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/plinth_w32_system.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
  if(TARGET plinth_static)
    # It is a library of its own, not what --static makes of the other: all of that one's users would
    # have to link everything else statically, too.
    set(pc_name plinth_w32_system_static)
    # A library that contains the archive stays in the process (PlinthStatic.cmake). pkg-config can't know
    # whether a library or a program is linked; for a program the linker's flag has no effect.
    set(pc_libraries "-l${pc_name} -Wl,-z,nodelete")
    configure_file(cmake/plinth_w32_system.pc.in ${PROJECT_BINARY_DIR}/plinth_w32_system_static.pc
                   @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/plinth_w32_system_static.pc
      DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
  endif()
endif()
