# The shared library: the core's objects behind an export list of exactly twelve names.

add_library(zevra SHARED)
zevra_compile_options(zevra)
target_link_libraries(zevra PRIVATE zevra_core)
target_include_directories(zevra PUBLIC $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include>
                                        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
set_target_properties(zevra PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
                                       LINKER_LANGUAGE CXX
                                       LINK_DEPENDS "${CMAKE_SOURCE_DIR}/cmake/zevra.map")
target_link_options(zevra PRIVATE "LINKER:--version-script=${CMAKE_SOURCE_DIR}/cmake/zevra.map"
                                  LINKER:-z,defs LINKER:-z,now LINKER:-z,relro)
