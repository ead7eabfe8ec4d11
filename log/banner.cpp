#include "log/banner.h"

#include <array>
#include <cstdio>
#include <ctime>

#include "log/paths.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/text.h"

namespace zevra {
namespace {

using Banner = std::array<char, 4096>;

std::string PathOf(ModuleHandle module) {
  std::array<char, kPathLimit> path{};
  ModulePath(module, path.data(), path.size());
  return path.data();
}

std::string TimeOrBlank(const std::string& path) {
  return path.empty() ? " " : FileTimeText(path.c_str());
}

// `length` is the result of the snprintf that filled the banner.
std::string TerminateTruncated(Banner& banner, int length) {
  if (length < 0) return {};
  if (static_cast<std::size_t>(length) >= banner.size()) {
    const std::size_t cut = CutOnCharacter(banner.data(), banner.size() - 2);
    banner[cut] = '\n';
    banner[cut + 1] = '\0';
  }
  return banner.data();
}

}  // namespace

std::string FileTimeText(const char* path) {
  const std::int64_t modified = ModifiedTime(path);
  std::tm local{};
  if (modified == 0 || !ToLocalTime(modified, local)) return {};
  std::array<char, 128> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local);
  return text.data();
}

std::string HeadBanner(const std::string& title, const char* word, const char* time,
                       ModuleHandle module) {
  const std::string application = PathOf(kExecutable);
  std::string own = module != 0 ? PathOf(module) : std::string();
  if (own == application) own.clear();
  const std::string version = FileVersionText((own.empty() ? application : own).c_str());
  const std::uint32_t process = CurrentProcessId();
  Banner banner;
  const int length =
      std::snprintf(banner.data(), banner.size(),
                    "=============================================================\n"
                    "\tKorvane log file\n"
                    "\tSubject :    %s\n"
                    "\t%s-Time :    %s\n"
                    "\tApplication: %s %s\n"
                    "\tModule:      %s %s\n"
                    "\tPID: %d (0x%04x) Version: %s\n"
                    "=============================================================\n",
                    title.c_str(), word, time, application.c_str(),
                    TimeOrBlank(application).c_str(), own.c_str(), TimeOrBlank(own).c_str(),
                    static_cast<int>(process), static_cast<unsigned>(process), version.c_str());
  return TerminateTruncated(banner, length);
}

std::string TailBanner(const std::string& title, const char* word, const char* time) {
  const std::uint32_t process = CurrentProcessId();
  Banner banner;
  const int length = std::snprintf(
      banner.data(), banner.size(),
      "=============================================================\n"
      "\t%s %s-Time: %s\n"
      "\tPID: %d (0x%04x)\n"
      "=============================================================\n",
      title.c_str(), word, time, static_cast<int>(process), static_cast<unsigned>(process));
  return TerminateTruncated(banner, length);
}

}  // namespace zevra
