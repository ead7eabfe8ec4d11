// The log of zevra.dll as it is shipped, on every output that it has: what the system's own file,
// console, debugger channel, message box and mutex make of it.

#include <gmock/gmock.h>
#include <windows.h>

#include <io.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "support/eventually.h"
#include "zevra/zevra.h"

namespace zevra::test {
namespace {

constexpr const char* kSettings =
    "[logger]\r\noutput=15\r\nlevel=all\r\nstyle=20\r\nflush=1\r\ntitle=Caption\r\n";

// Clicks message boxes away and keeps what they showed.
class Clicker {
 public:
  std::vector<std::string> Stop() {
    thread_.request_stop();
    thread_.join();
    return boxes_;
  }

 private:
  void Run(const std::stop_token& stop) {
    constexpr int kText = 0xFFFF;  // the numbers of the controls
    constexpr int kIcon = 1088;
    while (!stop.stop_requested()) {
      ::Sleep(1);
      HWND const box = ::FindWindowA("#32770", "Caption");
      std::array<char, 256> text{};
      if (::GetDlgItemTextA(box, kText, text.data(), text.size()) == 0) continue;
      boxes_.emplace_back(text.data());
      const LRESULT icon = ::SendDlgItemMessageA(box, kIcon, STM_GETICON, 0, 0);
      const bool is_error = icon == reinterpret_cast<LRESULT>(::LoadIconA(nullptr, IDI_ERROR));
      EXPECT_EQ(is_error, boxes_.back().starts_with("[ERR]"));
      ::SendMessageA(box, WM_COMMAND, IDOK, 0);
      while (::IsWindow(box) != FALSE) ::Sleep(1);
    }
  }

  std::vector<std::string> boxes_;
  std::jthread thread_{[this](const std::stop_token& stop) { Run(stop); }};
};

std::vector<std::string> debugger_lines;

// OutputDebugStringA raises this for a debugger; a handler in the process sees it first.
LONG WINAPI KeepDebuggerLine(EXCEPTION_POINTERS* pointers) {
  constexpr DWORD kPrintException = 0x40010006;
  const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
  if (record.ExceptionCode == kPrintException && record.NumberParameters >= 2)
    debugger_lines.emplace_back(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
  return EXCEPTION_CONTINUE_SEARCH;
}

std::string Read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The first rows of the process's console, each with a line end in place of the blanks behind it.
std::vector<std::string> ConsoleRows(std::size_t count) {
  HANDLE const console =
      ::CreateFileA("CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
  std::vector<std::string> rows;
  while (rows.size() < count) {
    std::array<char, 80> row{};
    DWORD length = 0;
    const COORD start{0, static_cast<SHORT>(rows.size())};
    if (::ReadConsoleOutputCharacterA(console, row.data(), 80, start, &length) == FALSE) break;
    rows.emplace_back(row.data(), length);
    rows.back().erase(rows.back().find_last_not_of(' ') + 1) += '\n';
  }
  ::CloseHandle(console);
  return rows;
}

// Whether a thread waits in its ZevraInitialize while another one holds the mutex of all logs,
// until that one ends without giving it back.
bool WaitsForTheMutex() {
  std::promise<void> held;
  std::promise<void> end;
  std::thread holder([&] {
    ::CreateMutexA(nullptr, TRUE, "Korvane_Log_Singleton_Mutex");
    held.set_value();
    end.get_future().wait();
  });
  held.get_future().wait();
  auto ready =
      std::async(std::launch::async, [] { return ZevraInitialize() + ZevraUninitialize(); });
  const bool waits = ready.wait_for(std::chrono::milliseconds(300)) == std::future_status::timeout;
  end.set_value();
  holder.join();
  return ready.get() == 0 && waits;
}

// A process has one log for good, so that one test goes through its life.
TEST(DllLog, WaitsForItsMutexAndReachesEveryOutput) {
  std::ofstream("zevra.cfu", std::ios::binary) << kSettings;
  ::AddVectoredExceptionHandler(1, &KeepDebuggerLine);
  // The program and the library share one run-time library and with it the standard output, which
  // the log turns to its console.
  const int kept = ::_dup(::_fileno(stdout));
  ::FreeConsole();
  Clicker clicker;
  const bool has_waited = WaitsForTheMutex();
  ZevraDeviceList list{};
  EXPECT_EQ(ZevraGetDeviceList(&list), ZEVRA_E_NOT_INITIALIZED);
  std::fflush(stdout);
  const std::vector<std::string> console = ConsoleRows(4);
  const std::vector<std::string> to_debugger = debugger_lines;
  ::_dup2(kept, ::_fileno(stdout));
  ::_close(kept);

  EXPECT_TRUE(has_waited);
  const std::vector<std::string> lines = {
      "[VBS] ZevraInitialize | srlog_open succeed!\n", "[TRC] ::ZevraGetDeviceList | enter.\n",
      "[ERR] ::ZevraGetDeviceList | error | CoCreateInstance 800401f0\n",
      "[TRC] ::ZevraGetDeviceList | leave.\n"};
  EXPECT_EQ(console, lines);
  EXPECT_EQ(to_debugger, lines);
  EXPECT_EQ(clicker.Stop(), lines);

  // In text mode, behind a banner that tells the library's version.
  std::string in_file = "=\r\n";
  for (const std::string& line : lines) in_file += line.substr(0, line.size() - 1) + "\r\n";
  const std::string log = Read("zevra.log");
  EXPECT_THAT(log, ::testing::EndsWith(in_file));
  EXPECT_THAT(log, ::testing::HasSubstr("\\zevra.dll 20"));
  EXPECT_THAT(log, ::testing::HasSubstr(" Version: " ZEVRA_TEST_VERSION "\r\n"));
}

// In the log and its backups.
std::size_t Count(const std::string& word) {
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(".")) {
    if (entry.path().extension() != L".log") continue;
    const std::string text = Read(entry.path().filename().string());
    for (std::size_t at = 0; (at = text.find(word, at)) != std::string::npos; ++at) ++count;
  }
  return count;
}
std::size_t CountLines() { return Count("| leave."); }

// log_test.sh runs it in several processes at once, and counts what the log holds.
TEST(DllLog, WritesAThousandLines) {
  ASSERT_GE(ZevraInitialize(), 0);
  for (int call = 0; call < 1000; ++call) ZevraStopPlay(nullptr);
  ZevraUninitialize();
}

TEST(DllLog, RotatesAndFollowsItsSettings) {
  std::ofstream("zevra.cfu") << "[logger]\nlevel=128\nflush=1\nmaxsize=65536\n";
  ASSERT_GE(ZevraInitialize(), 0);
  const std::size_t before = CountLines();
  for (int call = 0; call < 500; ++call) ZevraStopPlay(nullptr);
  EXPECT_GE(Count("Continue-Time"), 1U);
  EXPECT_EQ(CountLines(), before + 500);
  ::Sleep(2000);  // an edit shows in the file's time, which counts seconds
  std::ofstream("zevra.cfu") << "[logger]\nlevel=2\nflush=1\n";
  EXPECT_TRUE(Eventually([] {
    const std::size_t count = CountLines();
    ZevraStopPlay(nullptr);
    return CountLines() == count;
  }));
  ZevraUninitialize();
}

}  // namespace
}  // namespace zevra::test
