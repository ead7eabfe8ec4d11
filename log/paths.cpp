#include "log/paths.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/files.h"

namespace zevra {
namespace {

constexpr std::size_t kTokenLimit = 399;

bool is_separator(char c) { return c == '/' || c == '\\'; }

bool has_network_prefix(const char* path) { return path[0] == '\\' && path[1] == '\\'; }

bool is_blank(char c) { return static_cast<unsigned char>(c) < 33; }

// "directory/name", normalised; empty if it is too long.
std::string path_of_entry(const char* directory, const char* name) {
  std::array<char, kPathBytes> path{};
  const int length = std::snprintf(path.data(), path.size(), "%s/%s", directory, name);
  if (length < 0 || static_cast<std::size_t>(length) >= path.size()) return {};
  normalize_path(path.data());
  return path.data();
}

void append_token(std::vector<std::string>& out, const char* begin, const char* end) {
  if (static_cast<std::size_t>(end - begin) > kTokenLimit) end = begin + kTokenLimit;
  while (begin < end && is_blank(*begin)) ++begin;
  while (begin < end && is_blank(end[-1])) --end;
  if (begin < end) out.emplace_back(begin, end);
}

}  // namespace

bool is_absolute_path(const char* path) {
  return path[0] == '/' || has_network_prefix(path) || std::strchr(path, ':') != nullptr;
}

std::int32_t normalize_path(char* path) {
  if (path == nullptr) return 0;
  char* const begin = has_network_prefix(path) ? path + 2 : path;
  char* end = begin;
  for (const char* c = begin; *c != '\0'; ++c)
    if (!is_separator(*c))
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

int path_prefixes(const char* path, std::vector<std::string>& out) {
  if (path == nullptr || *path == '\0') return -1;
  const std::size_t length = std::strlen(path);
  std::size_t start = 0;
  if (length > 2) start = has_network_prefix(path) ? 2 : path[1] == ':' ? 3 : 0;
  for (std::size_t i = start; i <= length; ++i) {
    if (i < length && !is_separator(path[i])) continue;
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
      append_token(out, begin, c);
      begin = c + 1;
    }
  }
  append_token(out, begin, begin + std::strlen(begin));
  return 0;
}

int list_files(const char* directory, const char* pattern, std::list<std::string>& out) {
  return VisitEntries(
      directory, pattern,
      [&](const char* name, bool is_directory) {
        const std::string path = path_of_entry(directory, name);
        if (path.empty() || std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) return 0;
        if (is_directory) return list_files(path.c_str(), pattern, out);
        out.push_back(path);
        return 0;
      });
}

}  // namespace zevra
