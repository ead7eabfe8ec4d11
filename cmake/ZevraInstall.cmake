# Installs the library and the files that a host is built with. Each component becomes a package.
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/zevra")
configure_package_config_file(cmake/zevra-config.cmake.in zevra-config.cmake
                              INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file(zevra-config-version.cmake COMPATIBILITY SameMajorVersion)

# The path from the .pc file's folder to the prefix, so that the tree can be moved. A tree of the
# system's own stays where it is; as plain paths, pkg-config knows its folders for the compiler's own.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(ZEVRA_PC_PREFIX /usr)
else()
  file(RELATIVE_PATH ZEVRA_PC_PREFIX "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
  string(PREPEND ZEVRA_PC_PREFIX "\${pcfiledir}/")
endif()
configure_file(cmake/zevra.pc.in zevra.pc @ONLY)

install(TARGETS zevra EXPORT zevra-targets
        RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT library
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library
                                                      NAMELINK_COMPONENT development
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
install(EXPORT zevra-targets NAMESPACE zevra:: DESTINATION "${package_dir}" COMPONENT development)
install(FILES "${CMAKE_BINARY_DIR}/zevra-config.cmake"
              "${CMAKE_BINARY_DIR}/zevra-config-version.cmake"
        DESTINATION "${package_dir}" COMPONENT development)
install(FILES "${CMAKE_BINARY_DIR}/zevra.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
        COMPONENT development)
install(FILES include/zevra/zevra.h include/zevra/zevra.hpp DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/zevra"
        COMPONENT development)
if(NOT WIN32)
  # In a folder off the loader's path, because only a host's own tests load it: they link it from
  # there with that folder as their run path, or open the file by its path.
  install(TARGETS zevra_builtin_library
          LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}/zevra" COMPONENT library
                                                            NAMELINK_COMPONENT development)
  # The header is the manual: the page is made of its comments.
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  set(maker "${CMAKE_SOURCE_DIR}/scripts/pages/library_page.py")
  set(header "${CMAKE_SOURCE_DIR}/include/zevra/zevra.h")
  add_custom_command(OUTPUT zevra.3
                     COMMAND "${Python3_EXECUTABLE}" "${maker}" "${header}" ${PROJECT_VERSION} zevra.3
                     DEPENDS "${maker}" "${header}" VERBATIM)
  add_custom_target(zevra_library_page ALL DEPENDS "${CMAKE_BINARY_DIR}/zevra.3")
  install(FILES "${CMAKE_BINARY_DIR}/zevra.3" DESTINATION "${CMAKE_INSTALL_MANDIR}/man3"
          COMPONENT development)
endif()
if(WIN32)
  # What the compiler links into the DLL comes with terms of its own.
  set(notices "The programs contain parts of the run-time libraries of mingw-w64 and GCC; zevra.exe also\n")
  string(APPEND notices "of CLI11, {fmt}, JSON for Modern C++ and UTF8-CPP.\n")
  foreach(package IN ITEMS mingw-w64-x86-64-dev gcc-mingw-w64-base libcli11-dev libfmt-dev
                           nlohmann-json3-dev libutfcpp-dev)
    file(READ "/usr/share/doc/${package}/copyright" text)
    string(APPEND notices "\n---- Debian's ${package} ----\n\n${text}")
  endforeach()
  file(WRITE "${CMAKE_BINARY_DIR}/THIRD-PARTY-NOTICES.txt" "${notices}")
  install(FILES "${CMAKE_BINARY_DIR}/THIRD-PARTY-NOTICES.txt" DESTINATION . COMPONENT library)
  # Users unpack the zip anywhere. Further tool chains make an import library from the .def file.
  install(FILES cmake/zevra.def "${CMAKE_BINARY_DIR}/zevra.lib" DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
  install(FILES examples/record.c DESTINATION examples COMPONENT development)
  install(FILES LICENSE DESTINATION . RENAME LICENSE.txt COMPONENT library)
else()
  install(FILES examples/record.c examples/host_test.py
          DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples" COMPONENT development)
endif()
