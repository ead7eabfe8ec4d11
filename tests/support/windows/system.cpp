#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <ctime>

#include "support/system.h"

namespace zevra::test {

namespace fs = std::filesystem;

fs::path MakeTemporaryFolder() {
  static std::atomic<unsigned> count{0};
  const std::string name =
      "zevra_" + std::to_string(::GetCurrentProcessId()) + "_" + std::to_string(++count);
  fs::path folder = fs::temp_directory_path() / name;
  fs::remove_all(folder);
  fs::create_directory(folder);
  return folder;
}

void UseUtc() {
  ::_putenv_s("TZ", "UTC");
  ::_tzset();
}

void SetModifiedTime(const fs::path& path, std::int64_t seconds) {
  constexpr std::int64_t kFrom1601To1970 = 11'644'473'600;
  ULARGE_INTEGER units{};
  units.QuadPart = static_cast<ULONGLONG>((seconds + kFrom1601To1970) * 10'000'000);
  const FILETIME time{units.LowPart, units.HighPart};
  HANDLE const file =
      ::CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
  ::SetFileTime(file, nullptr, nullptr, &time);
  ::CloseHandle(file);
}

std::string FromTextMode(const std::string& bytes) {
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    const bool pair = bytes[at] == '\r' && at + 1 < bytes.size() && bytes[at + 1] == '\n';
    if (pair) ++at;
    if (bytes[at] == '\n' && !pair) text += "<bare line feed>";
    text += bytes[at];
  }
  return text;
}

std::size_t TextModeBytes(const std::string& text) {
  return text.size() + static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

bool NarrowTextIsUtf8() { return ::GetACP() == CP_UTF8; }

// Links to folders take a right that few users have.
bool MakeFolderLink(const fs::path&, const fs::path&) { return false; }

namespace {

std::string PathOf(HMODULE module) {
  std::array<char, MAX_PATH> path{};
  ::GetModuleFileNameA(module, path.data(), static_cast<DWORD>(path.size()));
  return path.data();
}

}  // namespace

Library::Library() : handle_(::LoadLibraryA("avrt.dll")) {}

Library::~Library() { ::FreeLibrary(static_cast<HMODULE>(handle_)); }

std::string Library::Path() const { return PathOf(static_cast<HMODULE>(handle_)); }

std::string ProgramPath() { return PathOf(nullptr); }

}  // namespace zevra::test
