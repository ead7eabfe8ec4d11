#include "log/paths.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/files.h"

namespace zevra {
namespace {

constexpr std::size_t kTokenLimit = 399;

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

bool HasNetworkPrefix(const char* path) { return path[0] == '\\' && path[1] == '\\'; }

bool IsBlank(char c) { return static_cast<unsigned char>(c) < 33; }

// "directory/name", normalised; empty if it is too long.
std::string PathOfEntry(const char* directory, const char* name) {
  std::array<char, kPathBytes> path{};
  const int length = std::snprintf(path.data(), path.size(), "%s/%s", directory, name);
  if (length < 0 || static_cast<std::size_t>(length) >= path.size()) return {};
  normalize_path(path.data());
  return path.data();
}

void AppendToken(std::vector<std::string>& out, const char* begin, const char* end) {
  if (static_cast<std::size_t>(end - begin) > kTokenLimit) end = begin + kTokenLimit;
  while (begin < end && IsBlank(*begin)) ++begin;
  while (begin < end && IsBlank(end[-1])) --end;
  if (begin < end) out.emplace_back(begin, end);
}

std::string Normalized(std::string path) {
  normalize_path(path.data());
  path.resize(std::strlen(path.c_str()));  // it only gets shorter
  return path;
}

}  // namespace

bool is_absolute_path(const char* path) {
  return path[0] == '/' || HasNetworkPrefix(path) || std::strchr(path, ':') != nullptr;
}

std::int32_t normalize_path(char* path) {
  if (path == nullptr) return 0;
  char* const begin = HasNetworkPrefix(path) ? path + 2 : path;
  char* end = begin;
  for (const char* c = begin; *c != '\0'; ++c)
    if (!IsSeparator(*c))
      *end++ = *c;
    else if (end == begin || end[-1] != '/')
      *end++ = '/';
  *end = '\0';
  return static_cast<std::int32_t>(end - begin);
}

char* join_path(char* directory, const char* name) {
  if (directory == nullptr || name == nullptr ||
      std::strlen(directory) + std::strlen(name) > kPathLimit)
    return nullptr;
  std::array<char, kPathBytes> tail{};
  std::memcpy(tail.data(), name, std::strlen(name));
  normalize_path(tail.data());
  const bool replaces = normalize_path(directory) == 0;
  const char* const rest = !replaces && tail[0] == '/' ? tail.data() + 1 : tail.data();
  char* const end = replaces ? directory : directory + std::strlen(directory);
  std::memcpy(end, rest, std::strlen(rest) + 1);
  return directory;
}

char* module_directory(char* out, ModuleHandle module) {
  ModulePath(module, out, kPathLimit);
  normalize_path(out);
  char* const last = std::strrchr(out, '/');
  (last != nullptr ? last[1] : out[0]) = '\0';
  return out;
}

std::string AnchorIn(const std::string& directory, const char* path) {
  if (is_absolute_path(path)) return path;
  if (directory.empty()) return {};
  std::array<char, kPathBytes> joined{};
  directory.copy(joined.data(), kPathLimit);
  return join_path(joined.data(), path) != nullptr ? joined.data() : path;
}

std::string AnchorAtModule(const char* path, ModuleHandle module) {
  std::array<char, kPathBytes> directory{};
  return AnchorIn(module_directory(directory.data(), module), path);
}

std::string DirectoryOf(const std::string& path) {
  const std::string whole = Normalized(path);
  return whole.substr(0, whole.rfind('/') + 1);
}

std::string BackupPattern(const std::string& log_file) {
  const std::string whole = Normalized(log_file);
  const std::string name = whole.substr(whole.rfind('/') + 1);
  return name.substr(0, name.rfind('.')) + "_*.log";
}

int path_prefixes(const char* path, std::vector<std::string>& out) {
  if (path == nullptr || *path == '\0') return -1;
  const std::size_t length = std::strlen(path);
  std::size_t start = 0;
  if (length > 2) start = HasNetworkPrefix(path) ? 2 : path[1] == ':' ? 3 : 0;
  for (std::size_t i = start; i <= length; ++i) {
    if (i < length && !IsSeparator(path[i])) continue;
    if (i > 0 && i < kPathLimit) out.emplace_back(path, i);
    if (i + 1 >= length) break;
  }
  return 0;
}

int split_list(const char* text, std::vector<std::string>& out, const char* separators) {
  if (text == nullptr || *text == '\0') return 0;
  char quote = '\0';
  const char* begin = text;
  for (const char* c = text; *c != '\0'; ++c) {
    if (quote != '\0') {
      quote = *c == quote ? '\0' : quote;
    } else if (*c == '\'' || *c == '"') {
      quote = *c;
    } else if (std::strchr(separators, *c) != nullptr) {
      AppendToken(out, begin, c);
      begin = c + 1;
    }
  }
  AppendToken(out, begin, begin + std::strlen(begin));
  return 0;
}

int list_files(const char* directory, const char* pattern, std::list<std::string>& out) {
  return VisitEntries(
      directory, pattern,
      [&](const char* name, bool is_directory) {
        const std::string path = PathOfEntry(directory, name);
        if (path.empty() || std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) return 0;
        if (is_directory) return list_files(path.c_str(), pattern, out);
        out.push_back(path);
        return 0;
      });
}

}  // namespace zevra
