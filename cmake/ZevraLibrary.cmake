# The shared library, and on Linux its twin whose endpoints are inside the process: the same objects
# behind an export list of exactly twelve names.

add_library(zevra SHARED)
target_link_libraries(zevra PRIVATE zevra_core zevra_calls $<$<NOT:$<BOOL:${WIN32}>>:zevra_pulse>)
set(products zevra)
if(NOT WIN32)
  add_library(zevra_builtin_library SHARED builtin/twin.cpp)
  target_link_libraries(zevra_builtin_library PRIVATE zevra_core zevra_calls zevra_builtin)
  set_target_properties(zevra_builtin_library PROPERTIES OUTPUT_NAME zevra-builtin)
  list(APPEND products zevra_builtin_library)
endif()
foreach(product IN LISTS products)
  zevra_compile_options(${product})
  target_include_directories(${product} PUBLIC $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include>
                                               $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  set_target_properties(${product} PROPERTIES VERSION ${PROJECT_VERSION} LINKER_LANGUAGE CXX
                                              SOVERSION ${PROJECT_VERSION_MAJOR})
endforeach()
if(WIN32)
  set(exports "${CMAKE_SOURCE_DIR}/cmake/zevra.def")
  configure_file(cmake/version.rc.in generated/version.rc @ONLY)
  target_sources(zevra PRIVATE "${exports}" "${CMAKE_BINARY_DIR}/generated/version.rc")
  # Named as Windows users expect it; the import library keeps the linker's lib prefix.
  set_target_properties(zevra PROPERTIES PREFIX "" IMPORT_PREFIX lib)
else()
  set(exports "${CMAKE_SOURCE_DIR}/cmake/zevra.map")
  foreach(product IN LISTS products)
    target_link_options(${product} PRIVATE "LINKER:--version-script=${exports}" LINKER:-z,defs
                                           LINKER:-z,now LINKER:-z,relro LINKER:--gc-sections)
  endforeach()
endif()
set_target_properties(${products} PROPERTIES LINK_DEPENDS "${exports}")
