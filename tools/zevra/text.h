#ifndef ZEVRA_TOOLS_ZEVRA_TEXT_H
#define ZEVRA_TOOLS_ZEVRA_TEXT_H

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "zevra/zevra.h"

namespace zevra::command {

using Utf16 = std::basic_string<ZevraChar>;
using Utf16View = std::basic_string_view<ZevraChar>;

// Between the user's UTF-8 and the library's UTF-16. What is no character becomes U+FFFD.
Utf16 ToUtf16(std::string_view text);
std::string ToUtf8(Utf16View text);

// ASCII letters compare without case.
bool ContainsIgnoringCase(std::string_view text, std::string_view part);
bool EqualIgnoringCase(std::string_view a, std::string_view b);

// Columns that UTF-8 text takes on a terminal.
std::size_t Columns(std::string_view text);
// Text cut to at most `columns`, its end marked where something is missing.
std::string Clipped(std::string_view text, std::size_t columns);

std::string Quoted(std::string_view name);

// Exit codes of the command.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitBadArguments = 2;

// Why the command ends without having done what it was asked to: one line for a person, without
// the program's name and without a line end.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One that the user can avoid by asking for something else.
class BadArgument : public Failure {
 public:
  using Failure::Failure;
};

// What a result of the library means, for a person: words where there are any, and the value.
std::string ResultText(std::int32_t result);
// Whether those words tell the reason.
bool SaysEnough(std::int32_t result);
// What an error number of the system means.
std::string SystemText(int error);

}  // namespace zevra::command

#endif
