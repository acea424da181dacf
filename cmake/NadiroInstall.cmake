# What `cmake --install` puts under the prefix, and the .deb CPack makes of it:
#   lib/libNadiroUser.so.N (SONAME) with its symlinks, libNadiroUser.a,
#   libNadiroDlgs.so (the companion module, next to the library),
#   include/nadiro/*.h, lib/pkgconfig/nadiro.pc, lib/cmake/Nadiro/ (the
#   package find_package(Nadiro) reads: Nadiro::Nadiro, Nadiro::NadiroStatic),
#   bin/nadiro, its man page and its bash completion, and the licence.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

if(NOT WIN32)
  # libNadiroUser.so.13.10, SONAME libNadiroUser.so.13, link name libNadiroUser.so.
  set_target_properties(NadiroUser PROPERTIES VERSION ${PROJECT_VERSION}
                                              SOVERSION ${PROJECT_VERSION_MAJOR})
endif()
set_target_properties(NadiroUser PROPERTIES EXPORT_NAME Nadiro)

# The static library for users: the same objects as the shared one, with an
# interface that points into the installed tree only.
add_library(NadiroUserStatic STATIC $<TARGET_OBJECTS:nadiro_objects>)
set_target_properties(NadiroUserStatic PROPERTIES OUTPUT_NAME NadiroUser EXPORT_NAME NadiroStatic)
target_include_directories(NadiroUserStatic PUBLIC
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(NadiroUserStatic PUBLIC Threads::Threads ${CMAKE_DL_LIBS})
if(WIN32)
  # The import library of NadiroUser.dll is libNadiroUser.dll.a; keep the
  # static archive apart from it.
  set_target_properties(NadiroUserStatic PROPERTIES OUTPUT_NAME NadiroUserStatic)
  target_link_libraries(NadiroUserStatic PUBLIC comctl32)
endif()

install(TARGETS NadiroUser NadiroUserStatic EXPORT NadiroTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS NadiroDlgs
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/nadiro DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h")

set(NADIRO_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Nadiro)
install(EXPORT NadiroTargets NAMESPACE Nadiro:: DESTINATION ${NADIRO_CMAKE_DIR})
configure_package_config_file(cmake/NadiroConfig.cmake.in
  ${PROJECT_BINARY_DIR}/NadiroConfig.cmake INSTALL_DESTINATION ${NADIRO_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/NadiroConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/NadiroConfig.cmake
              ${PROJECT_BINARY_DIR}/NadiroConfigVersion.cmake
        DESTINATION ${NADIRO_CMAKE_DIR})

if(NOT WIN32)
  # pkg-config: the prefix is found from the file's own place, so a tree
  # installed with --prefix, or unpacked anywhere, still describes itself.
  file(RELATIVE_PATH NADIRO_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  string(REGEX REPLACE "/$" "" NADIRO_PC_TO_PREFIX "${NADIRO_PC_TO_PREFIX}")
  list(TRANSFORM CMAKE_DL_LIBS PREPEND -l OUTPUT_VARIABLE NADIRO_PC_DL)
  configure_file(cmake/nadiro.pc.in ${PROJECT_BINARY_DIR}/nadiro.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/nadiro.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()

if(TARGET nadiro)
  install(TARGETS nadiro RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES packaging/nadiro.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES packaging/nadiro.bash-completion DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          RENAME nadiro)
endif()
# The licence, and the same as a machine-readable Debian copyright file.
file(READ LICENSE NADIRO_LICENSE_TEXT)
string(REGEX REPLACE "\n+$" "" NADIRO_LICENSE_TEXT "${NADIRO_LICENSE_TEXT}")
string(REGEX REPLACE "\n\n" "\n.\n" NADIRO_LICENSE_TEXT "${NADIRO_LICENSE_TEXT}")
string(REGEX REPLACE "\n" "\n " NADIRO_LICENSE_TEXT "${NADIRO_LICENSE_TEXT}")
file(WRITE ${PROJECT_BINARY_DIR}/copyright
  "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/\n"
  "Upstream-Name: nadiro\n\nFiles: *\nCopyright: The Nadiro developers\nLicense: MIT\n "
  "${NADIRO_LICENSE_TEXT}\n")
install(FILES LICENSE ${PROJECT_BINARY_DIR}/copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/nadiro)

# cpack -G DEB (in the build folder): one package with everything above.
set(CPACK_PACKAGE_NAME nadiro)
set(CPACK_PACKAGE_VENDOR "The Nadiro developers")
set(CPACK_PACKAGE_CONTACT "The Nadiro developers <nadiro@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "image-processing library with a flat C interface, and its command-line tool")
set(CPACK_PACKAGE_DESCRIPTION
    "Colour-model conversions, colour adjustments, channel split and merge, a\nluminance convolution and dithering on packed device-independent bitmaps.\nLicence: MIT.")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_STRIP_FILES ON)
include(CPack)
