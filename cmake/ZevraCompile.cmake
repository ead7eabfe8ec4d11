# How every target of the project is compiled: the language, the warnings, the sanitizers.

option(ZEVRA_WERROR "Treat warnings as errors" OFF)
set(ZEVRA_SANITIZE "" CACHE STRING "Value for -fsanitize=, empty for none")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_EXTENSIONS OFF)
find_package(Threads REQUIRED)

# GCC 12 reports overlaps that cannot be in its own string header once it has inlined enough of it.
set(zevra_false_alarms $<$<AND:$<COMPILE_LANG_AND_ID:CXX,GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>)

function(zevra_compile_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion ${zevra_false_alarms}
                                           $<$<BOOL:${ZEVRA_WERROR}>:-Werror>)
  set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET hidden C_VISIBILITY_PRESET hidden
                                             VISIBILITY_INLINES_HIDDEN ON)
  target_link_libraries(${target} PRIVATE Threads::Threads)
  if(ZEVRA_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${ZEVRA_SANITIZE} -fno-omit-frame-pointer
                                             -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${ZEVRA_SANITIZE})
  endif()
endfunction()
