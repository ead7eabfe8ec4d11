// The log of zevra.dll as it is shipped, on every output that it has: what the system's own file,
// console, debugger channel and mutex make of it. Only the message box is a stand-in, which nobody
// has to click away.

#include <gmock/gmock.h>
#include <windows.h>

#include <io.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "windows/import_table.h"
#include "zevra/zevra.h"

namespace zevra::test {
namespace {

using ::testing::HasSubstr;

constexpr const char* kSingletonMutex = "Korvane_Log_Singleton_Mutex";
constexpr const char* kHolds = "zevra_log_test_holds";
constexpr const char* kSettings =
    "[logger]\r\noutput=15\r\nlevel=all\r\nstyle=20\r\nflush=1\r\ntitle=Caption\r\n";
constexpr DWORD kLongMs = 60'000;

struct Box {
  std::string caption;
  std::string text;
  UINT icon;
  bool operator==(const Box&) const = default;
};
std::vector<Box> boxes;

int WINAPI KeepBox(HWND, const char* text, const char* caption, UINT type) {
  boxes.push_back({caption, text, type & MB_ICONMASK});
  return IDOK;
}

std::vector<std::string> debugger_lines;

// OutputDebugStringA raises this for a debugger; a handler in the process sees it first.
LONG WINAPI KeepDebuggerLine(EXCEPTION_POINTERS* pointers) {
  constexpr DWORD kPrintException = 0x40010006;
  const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
  if (record.ExceptionCode == kPrintException && record.NumberParameters >= 2)
    debugger_lines.emplace_back(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
  return EXCEPTION_CONTINUE_SEARCH;
}

std::string BesideTheLibrary(const char* file) {
  std::array<char, MAX_PATH> path{};
  ::GetModuleFileNameA(::GetModuleHandleA("zevra.dll"), path.data(), MAX_PATH);
  std::string folder = path.data();
  return folder.substr(0, folder.rfind('\\') + 1) + file;
}

std::string Read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The first rows of the process's console, without the blanks behind them.
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
    rows.back().erase(rows.back().find_last_not_of(' ') + 1);
  }
  ::CloseHandle(console);
  return rows;
}

// The program and the library share one run-time library and with it the standard output, which
// the log turns to its console.
class KeptStandardOutput {
 public:
  KeptStandardOutput() : kept_(::_dup(::_fileno(stdout))) {}
  ~KeptStandardOutput() {
    std::fflush(stdout);
    ::_dup2(kept_, ::_fileno(stdout));
    ::_close(kept_);
  }
  KeptStandardOutput(const KeptStandardOutput&) = delete;
  KeptStandardOutput& operator=(const KeptStandardOutput&) = delete;

 private:
  const int kept_;
};

// Another process that takes the mutex of all logs and keeps it to its end.
class Holder {
 public:
  Holder() : holds_(::CreateEventA(nullptr, TRUE, FALSE, kHolds)) {
    std::array<char, MAX_PATH> program{};
    ::GetModuleFileNameA(nullptr, program.data(), MAX_PATH);
    std::string command = std::string("\"") + program.data() + "\" hold";
    STARTUPINFOA start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION process{};
    EXPECT_TRUE(::CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                 nullptr, &start, &process));
    ::CloseHandle(process.hThread);
    process_ = process.hProcess;
    EXPECT_EQ(::WaitForSingleObject(holds_, kLongMs), WAIT_OBJECT_0);
  }
  ~Holder() {
    End();
    ::CloseHandle(process_);
    ::CloseHandle(holds_);
  }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;

  void End() const {
    ::TerminateProcess(process_, 0);
    ::WaitForSingleObject(process_, kLongMs);
  }

 private:
  HANDLE holds_;
  HANDLE process_ = nullptr;
};

int HoldForEver() {
  ::CreateMutexA(nullptr, TRUE, kSingletonMutex);
  ::SetEvent(::OpenEventA(EVENT_MODIFY_STATE, FALSE, kHolds));
  ::Sleep(kLongMs);
  return 1;
}

// In text mode, behind a banner that tells the library's version.
void ExpectInFile(const std::string& log, const std::string& lines) {
  const std::string text = Read(log);
  EXPECT_TRUE(text.ends_with("=\r\n" + lines)) << text;
  EXPECT_THAT(text, HasSubstr("\r\n\tModule:      " + BesideTheLibrary("zevra.dll") + " 20"));
  EXPECT_THAT(text, HasSubstr(" Version: " ZEVRA_TEST_VERSION "\r\n"));
  for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1))
    EXPECT_EQ(text[at - 1], '\r') << at;
}

// A process has one log for good, so that one test goes through its life.
TEST(DllLog, WaitsForItsMutexAndReachesEveryOutput) {
  const std::string log = BesideTheLibrary("zevra.log");
  std::remove(log.c_str());
  const std::string settings = BesideTheLibrary("zevra.cfu");
  std::ofstream(settings, std::ios::binary) << kSettings;
  ASSERT_TRUE(RedirectImport(::GetModuleHandleA("zevra.dll"), "MessageBoxA",
                             reinterpret_cast<void*>(&KeepBox)));
  ::AddVectoredExceptionHandler(1, &KeepDebuggerLine);
  ::FreeConsole();
  std::vector<std::string> console;
  std::vector<std::string> to_debugger;
  bool has_waited = false;
  {
    const KeptStandardOutput kept;
    const Holder holder;
    std::atomic<bool> is_ready{false};
    std::thread host([&] {
      EXPECT_GE(ZevraInitialize(), 0);
      is_ready = true;
      ZevraUninitialize();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    has_waited = Read(log).empty() && !is_ready;
    holder.End();
    host.join();

    ZevraDeviceList list{};
    EXPECT_EQ(ZevraGetDeviceList(&list), ZEVRA_E_NOT_INITIALIZED);
    std::fflush(stdout);
    console = ConsoleRows(4);
    to_debugger = debugger_lines;
  }

  EXPECT_TRUE(has_waited) << "for the process that held the mutex";
  const std::string error = "[ERR] ::ZevraGetDeviceList | error | CoCreateInstance 800401f0";
  const std::vector<std::string> lines = {"[VBS] ZevraInitialize | srlog_open succeed!",
                                          "[TRC] ::ZevraGetDeviceList | enter.", error,
                                          "[TRC] ::ZevraGetDeviceList | leave."};
  EXPECT_EQ(console, lines);
  ASSERT_EQ(boxes.size(), 4U);
  EXPECT_EQ(boxes[2], (Box{"Caption", error + "\n", MB_ICONERROR}));
  EXPECT_EQ(boxes[3], (Box{"Caption", lines[3] + "\n", MB_ICONINFORMATION}));
  std::string in_file;
  std::vector<std::string> raw_lines;
  for (const std::string& line : lines) {
    raw_lines.push_back(line + "\n");
    in_file += line + "\r\n";
  }
  EXPECT_EQ(to_debugger, raw_lines);

  ExpectInFile(log, in_file);
  std::remove(settings.c_str());
}

}  // namespace
}  // namespace zevra::test

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "hold") == 0) return zevra::test::HoldForEver();
  ::testing::InitGoogleMock(&argc, argv);
  return RUN_ALL_TESTS();
}
