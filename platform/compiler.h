#ifndef ZEVRA_PLATFORM_COMPILER_H
#define ZEVRA_PLATFORM_COMPILER_H

// The one place for what only some compilers know.

// Lets the compiler check a printf-style call. `format_at` and `first` are argument positions
// counted from 1; in a member function the object itself is position 1.
#if defined(__MINGW32__)
#define ZEVRA_PRINTF(format_at, first) __attribute__((format(gnu_printf, format_at, first)))
#elif defined(__GNUC__)
#define ZEVRA_PRINTF(format_at, first) __attribute__((format(printf, format_at, first)))
#else
#define ZEVRA_PRINTF(format_at, first)
#endif

#endif
