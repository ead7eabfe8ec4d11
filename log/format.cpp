#include "log/format.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "platform/text.h"

namespace zevra {
namespace {

// How a text of `length` bytes ends that did not fit: formats it once more, in full. Without the
// memory for that the text is taken to go on, and the line's style decides how it ends.
char last_character(std::size_t length, const char* format, std::va_list arguments) noexcept {
  const std::unique_ptr<char[]> whole(new (std::nothrow) char[length + 1]);
  if (whole == nullptr ||
      std::vsnprintf(whole.get(), length + 1, format, arguments) != static_cast<int>(length))
    return '\0';
  return whole[length - 1];
}

}  // namespace

void format_message(char* buffer, std::size_t size, const char* format,
                    std::va_list arguments) noexcept {
  std::va_list again;
  va_copy(again, arguments);
  const int formatted = std::vsnprintf(buffer, size, format, arguments);
  if (formatted < 0) {
    const std::size_t length = std::min(std::strlen(format), size - 1);
    std::memcpy(buffer, format, length);
    buffer[length] = '\0';
  } else if (const auto length = static_cast<std::size_t>(formatted); length >= size) {
    const char last = last_character(length, format, again);
    std::size_t cut = CutOnCharacter(buffer, size - 2);
    if (last == '\n' || last == '\r') buffer[cut++] = last;
    buffer[cut] = '\0';
  }
  va_end(again);
}

}  // namespace zevra
