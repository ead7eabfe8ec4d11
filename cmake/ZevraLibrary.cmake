# The shared library: the core's objects behind an export list of exactly twelve names.

add_library(zevra SHARED)
zevra_compile_options(zevra)
target_link_libraries(zevra PRIVATE zevra_core)
target_include_directories(zevra PUBLIC $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include>
                                        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
set_target_properties(zevra PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
                                       LINKER_LANGUAGE CXX)
if(WIN32)
  set(exports "${CMAKE_SOURCE_DIR}/cmake/zevra.def")
  configure_file(cmake/version.rc.in generated/version.rc @ONLY)
  target_sources(zevra PRIVATE "${exports}" "${CMAKE_BINARY_DIR}/generated/version.rc")
  # Named as Windows users expect it; the import library keeps the linker's lib prefix.
  set_target_properties(zevra PROPERTIES PREFIX "" IMPORT_PREFIX lib)
else()
  set(exports "${CMAKE_SOURCE_DIR}/cmake/zevra.map")
  target_link_options(zevra PRIVATE "LINKER:--version-script=${exports}" LINKER:-z,defs
                                    LINKER:-z,now LINKER:-z,relro)
endif()
set_target_properties(zevra PROPERTIES LINK_DEPENDS "${exports}")
