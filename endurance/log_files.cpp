#include "endurance/log_files.h"

#include <array>
#include <cctype>
#include <ctime>
#include <fstream>
#include <string_view>

namespace zevra::endurance {
namespace {

namespace fs = std::filesystem;

// "30/03/17-17:46:40 000", which sorts by its text.
constexpr std::size_t kTimeLength = 21;

// "[30/03/17-17:46:40 000][TRC][Px1a2c][Tx0f30] text": a digit stands for any, x for hexadecimal
// ones.
bool IsMessage(std::string_view line) {
  constexpr std::string_view kHead = "[00/00/00-00:00:00 000][AAA][Px";
  if (line.size() < kHead.size()) return false;
  for (std::size_t at = 0; at < kHead.size(); ++at) {
    const auto sign = static_cast<unsigned char>(line[at]);
    const bool fits = kHead[at] == '0'   ? std::isdigit(sign) != 0
                      : kHead[at] == 'A' ? std::isupper(sign) != 0
                                         : kHead[at] == line[at];
    if (!fits) return false;
  }
  const auto text = line.find("] ");
  // A line inside a line has its own head.
  return text != std::string_view::npos && line.find("][Px", text) == std::string_view::npos;
}

bool IsBanner(std::string_view line) {
  return line.empty() || line.starts_with('\t') || line.starts_with("======");
}

// As a line shows it.
std::string PresentSecond() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%y/%m/%d-%H:%M:%S", &local);
  return text.data();
}

}  // namespace

std::string LogFiles::Check(std::size_t most_backups) {
  std::size_t backups = 0;
  for (const auto& entry : fs::directory_iterator(folder_)) {
    const std::string name = entry.path().filename().string();
    if (!name.starts_with("zevra") || !name.ends_with(".log")) continue;
    backups += name != "zevra.log";
    Content& content = contents_[name];
    if (content.bytes == entry.file_size()) continue;
    if (std::string wrong = Read(entry.path(), content); !wrong.empty()) return wrong;
  }
  ForgetRemoved();
  if (backups > most_backups) return std::to_string(backups) + " backups";
  return {};
}

void LogFiles::ForgetRemoved() {
  std::erase_if(
      contents_,
      [this](const auto& entry) {
        if (fs::exists(folder_ / entry.first)) return false;
        removed_.lines += entry.second.lines;
        removed_.trace_lines += entry.second.trace_lines;
        ++removed_backups_;
        return true;
      });
}

std::string LogFiles::Read(const fs::path& file, Content& content) {
  std::ifstream stream(file, std::ios::binary);
  const std::string text(std::istreambuf_iterator<char>(stream), {});
  content = {};
  content.bytes = text.size();
  const std::string now = PresentSecond();
  std::string_view rest = text, latest;
  while (!rest.empty()) {
    const auto end = rest.find('\n');
    // The log's own buffer may end within the last line of the file that is written.
    if (end == std::string_view::npos && file.filename() == "zevra.log") break;
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    if (IsMessage(line)) {
      const std::string_view time = line.substr(1, kTimeLength);
      if (time < latest || time.substr(0, now.size()) > now)
        return file.filename().string() + " jumps to " + std::string(time);
      latest = time;
      ++content.lines;
      content.trace_lines += line.find("][TRC][") != std::string_view::npos;
    } else if (!IsBanner(line)) {
      return file.filename().string() + " has a torn line: " + std::string(line);
    }
  }
  return {};
}

std::uint64_t LogFiles::Sum(std::uint64_t Content::*member) const {
  std::uint64_t sum = removed_.*member;
  for (const auto& [name, content] : contents_) sum += content.*member;
  return sum;
}

}  // namespace zevra::endurance
