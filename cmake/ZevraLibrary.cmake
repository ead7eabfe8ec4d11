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
  # The symbols of the stripped DLL, for a debugger, and an import library as MSVC's linker reads it.
  # The date is that of the stripped file's time stamp.
  find_program(ZEVRA_DLLTOOL llvm-dlltool REQUIRED)
  add_custom_command(TARGET zevra POST_BUILD
                     COMMAND "${CMAKE_OBJCOPY}" --only-keep-debug $<TARGET_FILE:zevra>
                             "${CMAKE_BINARY_DIR}/zevra.dll.debug"
                     COMMAND "${CMAKE_COMMAND}" -E env SOURCE_DATE_EPOCH=0 "${CMAKE_STRIP}"
                             $<TARGET_FILE:zevra>
                     COMMAND "${ZEVRA_DLLTOOL}" -m i386:x86-64 -d "${exports}" -D zevra.dll
                             -l "${CMAKE_BINARY_DIR}/zevra.lib"
                     VERBATIM)
else()
  set(exports "${CMAKE_SOURCE_DIR}/cmake/zevra.map")
  foreach(product IN LISTS products)
    # The process's logger and the threads of streams outlive what a host gives back.
    target_link_options(${product} PRIVATE "LINKER:--version-script=${exports}" LINKER:-z,defs
                                           LINKER:-z,now LINKER:-z,relro LINKER:--gc-sections
                                           LINKER:-z,nodelete)
  endforeach()
endif()
set_target_properties(${products} PROPERTIES LINK_DEPENDS "${exports}")
