// Puts zevra.dll, as it is shipped, under the scripted platform and its log under LogCapture: what
// the DLL imports goes to this program, and what it logs comes by the debugger channel, as the
// settings file beside it asks.

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "log/masks.h"
#include "platform/os.h"
#include "support/log_capture.h"
#include "windows/import_table.h"
#include "zevra/zevra.h"

namespace zevra::test {
namespace {


// A function of the system's signature that calls the operations in use, the scripted ones mostly.
template <auto kOperation>
struct Tap;
template <class Result, class... Arguments, Result (*Operations::*kOperation)(Arguments...)>
struct Tap<kOperation> {
  static Result Call(Arguments... arguments) { return (Os().*kOperation)(arguments...); }
};

// The run-time library inside the DLL has handles of its own, which are no part of the script.
std::mutex handles_mutex;
std::set<HANDLE> handles;

template <auto kOperation>
struct OpeningTap;
template <class... Arguments, HANDLE (*Operations::*kOperation)(Arguments...)>
struct OpeningTap<kOperation> {
  static HANDLE Call(Arguments... arguments) {
    HANDLE const handle = Tap<kOperation>::Call(arguments...);
    const DWORD error = ::GetLastError();
    if (handle != nullptr) {
      const std::lock_guard hold(handles_mutex);
      handles.insert(handle);
    }
    ::SetLastError(error);
    return handle;
  }
};

BOOL CloseKnownHandle(HANDLE handle) {
  bool known = false;
  {
    const std::lock_guard hold(handles_mutex);
    known = handles.erase(handle) != 0;
  }
  return known ? Os().CloseHandle(handle) : ::CloseHandle(handle);
}

std::mutex lines_mutex;
std::vector<std::pair<std::uint32_t, std::string>> lines;
std::uint32_t wanted_levels = 0;

std::uint32_t LevelOf(std::string_view label) {
  constexpr std::pair<std::string_view, std::uint32_t> kLabels[] = {
      {"ERR", kLevelError}, {"WAN", kLevelWarn}, {"VBS", kLevelVerbose}, {"TRC", kLevelTrace}};
  for (const auto& [text, level] : kLabels)
    if (label == text) return level;
  return 0;
}

// A line is "[ERR] message\n".
void WINAPI KeepLine(const char* text) {
  std::string_view line(text);
  if (line.size() < 6 || line[0] != '[' || line[4] != ']') return;
  if (line.back() == '\n') line.remove_suffix(1);
  const std::lock_guard hold(lines_mutex);
  lines.emplace_back(LevelOf(line.substr(1, 3)), line.substr(6));
}

void Redirect(const char* name, void* function) {
  if (RedirectImport(::GetModuleHandleA("zevra.dll"), name, function)) return;
  std::fprintf(stderr, "zevra.dll does not import %s\n", name);
  std::abort();
}

void TakeOver() {
  Redirect("OutputDebugStringA", reinterpret_cast<void*>(&KeepLine));
  Redirect("CoCreateInstance", reinterpret_cast<void*>(&CreateInstance));
  Redirect("CloseHandle", reinterpret_cast<void*>(&CloseKnownHandle));
#define ZEVRA_REDIRECT_OPENING(name) \
  Redirect(#name, reinterpret_cast<void*>(&OpeningTap<&Operations::name>::Call))
  ZEVRA_REDIRECT_OPENING(CreateEventW);
  ZEVRA_REDIRECT_OPENING(CreateThread);
  ZEVRA_REDIRECT_OPENING(CreateWaitableTimerW);
#undef ZEVRA_REDIRECT_OPENING
#define ZEVRA_REDIRECT(name) Redirect(#name, reinterpret_cast<void*>(&Tap<&Operations::name>::Call))
  ZEVRA_REDIRECT(CoInitialize);
  ZEVRA_REDIRECT(CoUninitialize);
  ZEVRA_REDIRECT(SetEvent);
  ZEVRA_REDIRECT(SetWaitableTimer);
  ZEVRA_REDIRECT(CancelWaitableTimer);
  ZEVRA_REDIRECT(WaitForMultipleObjects);
  ZEVRA_REDIRECT(WaitForSingleObject);
  ZEVRA_REDIRECT(Sleep);
  ZEVRA_REDIRECT(AvSetMmThreadCharacteristicsW);
  ZEVRA_REDIRECT(MFStartup);
  ZEVRA_REDIRECT(MFShutdown);
  ZEVRA_REDIRECT(MFCreateMediaType);
  ZEVRA_REDIRECT(MFCreateSample);
  ZEVRA_REDIRECT(MFCreateMemoryBuffer);
#undef ZEVRA_REDIRECT
}

}  // namespace

LogCapture::LogCapture(std::uint32_t level) {
  static const bool taken_over = (TakeOver(), true);
  static_cast<void>(taken_over);
  Clear();
  wanted_levels = level;
}

LogCapture::~LogCapture() { Clear(); }

std::vector<std::string> LogCapture::Lines() const {
  const std::lock_guard hold(lines_mutex);
  std::vector<std::string> wanted;
  for (const auto& [level, line] : lines)
    if ((level & wanted_levels) != 0) wanted.push_back(line);
  return wanted;
}

void LogCapture::Clear() {
  const std::lock_guard hold(lines_mutex);
  lines.clear();
}

}  // namespace zevra::test
