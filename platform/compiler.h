#ifndef ZEVRA_PLATFORM_COMPILER_H
#define ZEVRA_PLATFORM_COMPILER_H

// The one home of constructs that only some compilers know.

#if defined(__GNUC__)
// Lets the compiler check a printf format; both positions count from 1, `this` included.
#define ZEVRA_PRINTF_FORMAT(format_position, first_argument_position) \
  __attribute__((format(printf, format_position, first_argument_position)))
#else
#define ZEVRA_PRINTF_FORMAT(format_position, first_argument_position)
#endif

#endif
