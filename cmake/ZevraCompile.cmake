# How every target of the project is compiled: the language, the warnings, the sanitizers.

option(ZEVRA_WERROR "Treat warnings as errors" OFF)
set(ZEVRA_SANITIZE "" CACHE STRING "Value for -fsanitize=, empty for none")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_EXTENSIONS OFF)
find_package(Threads REQUIRED)

# GCC 12 reports impossible overlaps in its own string header when it inlines much of it.
set(zevra_false_alarms $<$<AND:$<COMPILE_LANG_AND_ID:CXX,GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>)

# Windows 7, version 6.1, is the first with the resampler's present interface. The compiler's run-time
# libraries are linked statically, so that the DLL needs no other file. Without a time stamp and the
# folder's name, two builds are equal byte by byte.
function(zevra_windows_options target)
  target_compile_definitions(${target} PRIVATE _WIN32_WINNT=0x0601 NOMINMAX WIN32_LEAN_AND_MEAN)
  target_compile_options(${target} PRIVATE -fstack-protector-strong $<$<CONFIG:Release>:-g>
                                           -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=)
  target_link_options(${target} PRIVATE -static -fstack-protector-strong LINKER:--gc-sections
                                        LINKER:--dynamicbase LINKER:--high-entropy-va
                                        LINKER:--nxcompat LINKER:--no-insert-timestamp
                                        LINKER:--major-os-version=6,--minor-os-version=1
                                        LINKER:--major-subsystem-version=6
                                        LINKER:--minor-subsystem-version=1)
  # The library's symbols are kept beside it.
  if(NOT target STREQUAL zevra)
    target_link_options(${target} PRIVATE $<$<CONFIG:Release>:-s>)
  endif()
endfunction()

# What Debian's own flags ask for too. They are left as they are, because releases ask for more.
function(zevra_linux_options target)
  if(ZEVRA_SANITIZE OR CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE")
    return()
  endif()
  target_compile_options(${target} PRIVATE -fstack-protector-strong
                                           $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>
                                           $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
endfunction()

function(zevra_compile_options target)
  # With sections the linker can drop unused code and data, such as most ids of the Windows SDK.
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                                           -ffunction-sections -fdata-sections ${zevra_false_alarms}
                                           $<$<BOOL:${ZEVRA_WERROR}>:-Werror>)
  set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden C_VISIBILITY_PRESET hidden
                                             VISIBILITY_INLINES_HIDDEN ON)
  target_link_libraries(${target} PRIVATE Threads::Threads)
  if(WIN32)
    zevra_windows_options(${target})
  else()
    zevra_linux_options(${target})
  endif()
  if(ZEVRA_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${ZEVRA_SANITIZE} -fno-omit-frame-pointer
                                             -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${ZEVRA_SANITIZE})
  endif()
endfunction()
