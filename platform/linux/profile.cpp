#include "platform/profile.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <functional>
#include <string_view>

namespace zevra {
namespace {

std::string ReadWhole(const char* path) {
  std::string content;
  // Without waiting, and regular files only: a pipe of that name would hold the reader for ever.
  const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (descriptor < 0) return content;
  struct stat status {};
  if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
    std::array<char, 4096> block{};
    ssize_t count = 0;
    while ((count = ::read(descriptor, block.data(), block.size())) > 0 ||
           (count < 0 && errno == EINTR))
      content.append(block.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
  }
  ::close(descriptor);
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (content.starts_with(kByteOrderMark)) content.erase(0, kByteOrderMark.size());
  return content;
}

bool IsBlank(char c) { return static_cast<unsigned char>(c) <= ' '; }

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

bool Same(std::string_view left, std::string_view right) {
  return left.size() == right.size() && ::strncasecmp(left.data(), right.data(), left.size()) == 0;
}

std::string_view WithoutQuotes(std::string_view value) {
  const bool quoted = value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
                      value.front() == value.back();
  return quoted ? value.substr(1, value.size() - 2) : value;
}

using SectionVisitor = std::function<bool(std::string_view name)>;
using KeyVisitor = std::function<bool(std::string_view key, std::string_view value)>;

// Walks the lines of a profile file. A visitor that gives false ends the walk. Text in front of the
// first section, comments and lines without "=" are nobody's.
void WalkProfile(std::string_view content, const SectionVisitor& on_section,
                 const KeyVisitor& on_key) {
  while (!content.empty()) {
    const std::size_t end = std::min(content.find_first_of("\r\n"), content.size());
    const std::string_view line = Trim(content.substr(0, end));
    content.remove_prefix(std::min(end + 1, content.size()));
    if (line.empty() || line.front() == ';') continue;
    const std::size_t close = line.find(']');
    if (line.front() == '[' && close != std::string_view::npos) {
      if (!on_section(Trim(line.substr(1, close - 1)))) return;
      continue;
    }
    const std::size_t equals = line.find('=');
    if (equals != std::string_view::npos &&
        !on_key(Trim(line.substr(0, equals)), Trim(line.substr(equals + 1))))
      return;
  }
}

}  // namespace

ProfileSection::ProfileSection(const char* section, const char* path)
    : section_(section), path_(path) {
  bool inside = false;
  const std::string content = ReadWhole(path);
  WalkProfile(
      content,
      [&](std::string_view name) {
        const bool was_inside = inside;  // the first section of that name ends here
        inside = !was_inside && Same(name, section);
        return !was_inside;
      },
      [&](std::string_view key, std::string_view value) {
        if (inside) keys_.emplace_back(key, WithoutQuotes(value));
        return true;
      });
}

std::size_t ProfileSection::Text(const char* key, const char* fallback, char* buffer,
                                 std::size_t size) const {
  if (size == 0) return 0;
  const auto found = std::find_if(keys_.begin(), keys_.end(),
                                  [&](const auto& entry) { return Same(entry.first, key); });
  std::string_view text = fallback;
  if (found != keys_.end())
    text = found->second;
  else
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  // A zero byte ends the text for every reader of the buffer.
  text = text.substr(0, std::min({text.find('\0'), text.size(), size - 1}));
  std::memcpy(buffer, text.data(), text.size());
  buffer[text.size()] = '\0';
  return text.size();
}

std::vector<std::string> ProfileSection::Keys() const {
  std::vector<std::string> keys;
  for (const auto& [key, value] : keys_) keys.push_back(key);
  return keys;
}

std::vector<std::string> ProfileSections(const char* path) {
  std::vector<std::string> sections;
  const std::string content = ReadWhole(path);
  WalkProfile(
      content,
      [&](std::string_view name) {
        sections.emplace_back(name);
        return true;
      },
      [](std::string_view, std::string_view) { return true; });
  return sections;
}

void* OpenRegistryKey(const char*) { return nullptr; }

void CloseRegistryKey(void*) {}

int RegistryText(void*, const char*, std::string& text) {
  text.clear();
  return ENOENT;
}

}  // namespace zevra
