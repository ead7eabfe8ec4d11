#include "tools/zevra/console.h"

#include <io.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <iterator>

#include "tools/zevra/terminal.h"

namespace zevra::command {
namespace {

// What older headers lack. Windows knows it since 10; before that lines are printed one by one.
constexpr DWORD kEscapeSequences = 0x0004;
// How long Windows lets a program live once its window was closed.
constexpr DWORD kCloseMs = 5000;

std::atomic<bool> interrupted{false};
bool cursor_hidden = false;

HANDLE HandleOf(std::FILE* out) { return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(out))); }

// In a thread of the system's.
BOOL WINAPI OnEndRequest(DWORD kind) {
  const bool again = interrupted.exchange(true);
  // The program ends when this returns, so the recording is completed first.
  if (kind == CTRL_CLOSE_EVENT) Sleep(kCloseMs);
  return again ? FALSE : TRUE;
}

}  // namespace

bool IsConsole(std::FILE* out) {
  DWORD mode = 0;
  return GetConsoleMode(HandleOf(out), &mode) != 0;
}

bool CanRedraw(std::FILE* out) {
  DWORD mode = 0;
  const HANDLE handle = HandleOf(out);
  return GetConsoleMode(handle, &mode) != 0 && SetConsoleMode(handle, mode | kEscapeSequences) != 0;
}

bool ConsoleHasUtf8() { return GetConsoleOutputCP() == CP_UTF8; }

WindowSize SizeOfWindow(std::FILE* out) {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (GetConsoleScreenBufferInfo(HandleOf(out), &info) == 0) return {};
  return {static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1),
          static_cast<std::size_t>(info.srWindow.Bottom - info.srWindow.Top + 1)};
}

void NoteHiddenCursor(std::FILE* out) { cursor_hidden = out != nullptr; }

bool IsCursorHidden() { return cursor_hidden; }

// The wide ones of East Asia, as consoles draw them.
std::size_t ColumnsOf(char32_t character) {
  struct Range {
    char32_t first;
    char32_t last;
  };
  constexpr Range kWide[] = {{0x1100, 0x115F},   {0x2E80, 0x303E},  {0x3041, 0xA4CF},
                             {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},  {0xFE30, 0xFE6F},
                             {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},  {0x1F300, 0x1F64F},
                             {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};
  const bool wide =
      std::any_of(std::begin(kWide), std::end(kWide), [character](const Range& range) {
        return character >= range.first && character <= range.last;
      });
  return wide ? 2 : 1;
}

void CatchSignals() { SetConsoleCtrlHandler(OnEndRequest, TRUE); }

bool Interrupted() { return interrupted; }

}  // namespace zevra::command
