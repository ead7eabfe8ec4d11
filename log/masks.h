#ifndef ZEVRA_LOG_MASKS_H
#define ZEVRA_LOG_MASKS_H

#include <cstdint>

namespace zevra {

// Message levels, single bits; a setting of levels is a mask of them, not a threshold.
constexpr std::uint32_t kLevelError = 2;
constexpr std::uint32_t kLevelWarn = 4;
constexpr std::uint32_t kLevelVerbose = 16;
constexpr std::uint32_t kLevelTrace = 128;

constexpr std::uint32_t kOutputFile = 1;
constexpr std::uint32_t kOutputConsole = 2;
constexpr std::uint32_t kOutputDebugger = 4;
constexpr std::uint32_t kOutputBox = 8;

// The pieces of a line. The date and time win over the time alone.
constexpr std::uint32_t kStyleTime = 1;
constexpr std::uint32_t kStyleDateTime = 2;
constexpr std::uint32_t kStyleLevel = 4;
constexpr std::uint32_t kStyleThread = 8;
constexpr std::uint32_t kStyleLineEnd = 16;
constexpr std::uint32_t kStyleSubject = 32;
constexpr std::uint32_t kStyleProcess = 64;
// No bit of its own: this one value turns the banners off too.
constexpr std::uint32_t kStyleNone = 256;

// The width of what is written.
constexpr std::uint32_t kCharsetAsGiven = 0;
constexpr std::uint32_t kCharsetNarrow = 1;
constexpr std::uint32_t kCharsetWide = 2;

}  // namespace zevra

#endif
