# The files that users take: on Linux a pair of Debian packages, one for the command and one for
# Python, made of the components that are installed; on Windows a zip.
set(CPACK_PACKAGE_VENDOR "The zevra developers")
set(CPACK_PACKAGE_CONTACT "The zevra developers <maintainers@zevra.invalid>")
set(CPACK_RESOURCE_FILE_LICENSE "${CMAKE_SOURCE_DIR}/LICENSE")
set(CPACK_VERBATIM_VARIABLES ON)
get_cmake_property(CPACK_COMPONENTS_ALL COMPONENTS)

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
  set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
  set(CPACK_PACKAGE_FILE_NAME "zevra-${PROJECT_VERSION}-windows-x86_64")
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_STRIP_FILES ON)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # So that the command's package finds the library that is not installed yet.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_BINARY_DIR}")

  foreach(component IN ITEMS LIBRARY SETTINGS)
    set(CPACK_COMPONENT_${component}_GROUP library)
  endforeach()
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libzevra${PROJECT_VERSION_MAJOR})
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_GENERATE_SHLIBS ON)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS passwd)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA "${CMAKE_SOURCE_DIR}/cmake/debian/triggers")
  foreach(script IN ITEMS conffiles postinst postrm)
    list(APPEND CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
         "${CMAKE_SOURCE_DIR}/cmake/debian/library/${script}")
  endforeach()
  set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
      "Lists the audio endpoints and hands what one of them plays or records\nto a function of the host's, in the format that it asks for.")
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzevra-dev)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
  set(exact "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${exact}")
  set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
      "Header, build files and an example for hosts of the library.")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zevra)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION sound)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${exact}")
  set(CPACK_COMPONENT_TOOLS_DESCRIPTION
      "The command that records what the machine plays into a file.")

  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-zevra)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.9), ${exact}")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS python3-numpy)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA "${CMAKE_SOURCE_DIR}/cmake/debian/python/postinst"
                                                "${CMAKE_SOURCE_DIR}/cmake/debian/python/prerm")
  set(CPACK_COMPONENT_PYTHON_DESCRIPTION
      "The Python package: what the machine plays or records, as it comes.")

  install(FILES LICENSE DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/libzevra1" RENAME copyright
          COMPONENT library)
  install(FILES LICENSE DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/libzevra-dev"
          RENAME copyright COMPONENT development)
  install(FILES LICENSE DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/python3-zevra"
          RENAME copyright COMPONENT python EXCLUDE_FROM_ALL)
endif()
include(CPack)
