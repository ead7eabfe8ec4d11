#ifndef ZEVRA_TOOLS_ZEVRA_CONSOLE_H
#define ZEVRA_TOOLS_ZEVRA_CONSOLE_H

// What the command asks the system about terminals; each system has a source of its own for it, and
// for what terminal.h says of signals and standard descriptors.

#include <cstddef>
#include <cstdio>

namespace zevra::command {

// 0 where it is unknown.
struct WindowSize {
  std::size_t columns = 0;
  std::size_t lines = 0;
};

// Whether a person sees what is written there.
bool IsConsole(std::FILE* out);
// Whether that person's console lets lines be written over.
bool CanRedraw(std::FILE* out);
bool ConsoleHasUtf8();
WindowSize SizeOfWindow(std::FILE* out);

// A console's cursor is hidden by what the program has written; a sudden end shows it again. Null
// once it is shown.
void NoteHiddenCursor(std::FILE* out);
bool IsCursorHidden();
inline constexpr char kHideCursor[] = "\x1b[?25l";
inline constexpr char kShowCursor[] = "\x1b[?25h";

// Columns that a character takes there.
std::size_t ColumnsOf(char32_t character);

}  // namespace zevra::command

#endif
