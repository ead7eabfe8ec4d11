#include "tools/zevra/own_log.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>

#include "tools/zevra/log_report.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

// The log, open to the end of the process: a failed call may have had no descriptor left.
int log_descriptor = -1;
off_t log_begin = 0;

off_t LogSize() {
  struct stat status {};
  return fstat(log_descriptor, &status) == 0 ? status.st_size : 0;
}

// This process's lines from that byte on. A log that began anew meanwhile is read from its begin.
std::vector<std::string> LinesFrom(off_t begin) {
  std::string text;
  std::array<char, 4096> block{};
  if (begin > LogSize()) begin = 0;
  for (ssize_t count = 0; (count = pread(log_descriptor, block.data(), block.size(),
                                         begin + static_cast<off_t>(text.size()))) > 0;)
    text.append(block.data(), static_cast<std::size_t>(count));
  std::vector<std::string> lines;
  std::istringstream log(text);
  const std::string mine = fmt::format("[Px{:04x}]", getpid());
  for (std::string line; std::getline(log, line);)
    if (line.find(mine) != std::string::npos) lines.push_back(line);
  return lines;
}

// "[time][ERR][Px1][Tx1] ZevraImpl::Member | error | Call 80004005" as "Member: Call 80004005".
std::string Message(std::string_view line) {
  while (line.starts_with('[')) line.remove_prefix(std::min(line.find(']'), line.size() - 1) + 1);
  std::string text(line.substr(std::min(line.find_first_not_of(' '), line.size())));
  for (const std::string_view label : {"ZevraImpl::", "::Zevra"})
    if (text.starts_with(label)) text.erase(0, label.size());
  constexpr std::string_view kError = " | error | ";
  if (const auto at = text.find(kError); at != std::string::npos)
    text.replace(at, kError.size(), ": ");
  return text;
}

}  // namespace

std::string LibraryPath(bool builtin) {
  const std::string name = builtin ? "libzevra-builtin.so.1" : "libzevra.so.1";
  void* const program = dlopen(nullptr, RTLD_LAZY);
  Dl_serinfo size{};
  if (program != nullptr && dlinfo(program, RTLD_DI_SERINFOSIZE, &size) == 0) {
    std::vector<char> memory(size.dls_size);  // the record's head says how much follows it
    auto* const info = reinterpret_cast<Dl_serinfo*>(memory.data());
    *info = size;
    if (dlinfo(program, RTLD_DI_SERINFO, info) == 0) {
      const Dl_serpath* const places = info->dls_serpath;
      for (unsigned i = 0; i < info->dls_cnt; ++i) {
        const auto path = std::filesystem::path(places[i].dls_name) / name;
        std::error_code error;
        if (std::filesystem::is_regular_file(path, error))
          return std::filesystem::absolute(path, error).lexically_normal().string();
      }
    }
  }
  throw Failure("can't load the library: there is no " + name + " where the loader looks");
}

OwnLogSetUp::OwnLogSetUp(const std::string& library) : load_path_(library) {
  const LogReport report = DescribeLog(library);
  log_file_ = report.log_file;
  std::error_code error;
  const auto size = std::filesystem::file_size(log_file_, error);
  log_begin = error ? 0 : static_cast<off_t>(size);
  if (report.keeps_errors) return;
  log_begin = 0;
  log_descriptor = memfd_create("zevra.log", MFD_CLOEXEC);
  // The library opens it anew by the name that this gives it.
  if (log_descriptor >= 0)
    MakeFolder(library, SettingsForFile(report, fmt::format("/proc/self/fd/{}", log_descriptor)));
}

// Only this user may look into it.
void OwnLogSetUp::MakeFolder(const std::string& library, const std::string& settings) {
  std::error_code error;
  // The library knows itself by the path that it is loaded by, if that is a whole one.
  const auto parent = std::filesystem::absolute(std::filesystem::temp_directory_path(error), error);
  std::string folder = (parent / "zevra.XXXXXX").string();
  if (error || mkdtemp(folder.data()) == nullptr) return;
  folder_ = folder;
  const auto link = std::filesystem::path(folder) / std::filesystem::path(library).filename();
  std::filesystem::create_symlink(library, link, error);
  std::ofstream file(folder + "/zevra.cfu");
  file << settings << std::flush;
  if (!error && file) load_path_ = link.string();
}

OwnLogSetUp::~OwnLogSetUp() {
  std::error_code error;
  if (!folder_.empty()) std::filesystem::remove_all(folder_, error);
  if (log_descriptor < 0) log_descriptor = open(log_file_.c_str(), O_RDONLY | O_CLOEXEC);
}

LoggedCall::LoggedCall() : begin_(LogSize()) {}

std::string LoggedCall::Reason() const {
  // The first error is the cause, what follows are those who heard of it.
  for (const std::string& line : LinesFrom(begin_))
    if (line.find("[ERR]") != std::string::npos) return ": " + Message(line);
  return {};
}

std::string LoggedCall::ResultText(std::int32_t result) const {
  return command::ResultText(result) + (SaysEnough(result) ? "" : Reason());
}

std::vector<std::string> OwnFailures() {
  std::vector<std::string> lines = LinesFrom(log_begin);
  std::erase_if(
      lines, [](const std::string& line) { return line.find("| error |") == std::string::npos; });
  return lines;
}

}  // namespace zevra::command
