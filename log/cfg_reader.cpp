#include <array>
#include <cstring>
#include <optional>

#include "log/cfg.h"
#include "log/cfg_heap.h"
#include "log/cfg_words.h"
#include "log/paths.h"
#include "platform/files.h"

namespace zevra {
namespace {

constexpr std::uint64_t kLeastMaxsize = 65536;

// A key counts as present if its text is not empty.
template <class HEAP>
std::string text_of(const HEAP& heap, const char* key) {
  std::string text;
  heap.get_value(key, text);
  return text;
}

template <class HEAP>
std::optional<std::int32_t> number_of(const HEAP& heap, const char* key) {
  const std::string text = text_of(heap, key);
  return text.empty() ? std::nullopt : std::optional(number_in(text.c_str()));
}

template <class HEAP, class FIELD>
bool read_number(const HEAP& heap, const char* key, FIELD& field) {
  const std::optional<std::int32_t> number = number_of(heap, key);
  if (number) field = static_cast<std::uint32_t>(*number);
  return number.has_value();
}

template <class HEAP>
void read_signed(const HEAP& heap, const char* key, std::int32_t& field) {
  field = number_of(heap, key).value_or(field);
}

template <class HEAP>
bool read_flag(const HEAP& heap, const char* key, bool without_key) {
  const std::optional<std::int32_t> number = number_of(heap, key);
  return number ? *number != 0 : without_key;
}

template <class HEAP>
void read_text(const HEAP& heap, const char* key, std::string& field) {
  if (std::string text = text_of(heap, key); !text.empty()) field = std::move(text);
}

template <class HEAP>
void resolve_word(const HEAP& heap, const char* key, Live<std::uint32_t>& field,
                  const Cfg_Words* table) {
  std::uint32_t value = field;
  if (lookup_word(value, text_of(heap, key).c_str(), table) == 0) field = value;
}

// A relative path lies beside this library; one that would get too long stays as it is.
std::string beside_library(const std::string& path) {
  std::array<char, kPathBytes> directory{};
  if (is_absolute_path(path.c_str()) ||
      join_path(module_directory(directory.data(), kThisLibrary), path.c_str()) == nullptr)
    return path;
  return directory.data();
}

template <class HEAP>
void read_plain_keys(const HEAP& heap, Log_Cfg_Values& values) {
  read_number(heap, "output", values.output);
  read_number(heap, "subjects", values.subjects);
  if (const std::optional<std::int32_t> maxsize = number_of(heap, "maxsize"))
    values.maxsize = static_cast<std::uint64_t>(std::int64_t{*maxsize});
  // These two fall back to off when their key is gone, so that removing the key switches them off.
  values.overwrite = read_flag(heap, "overwrite", false);
  values.flush = read_flag(heap, "flush", false);
  read_signed(heap, "maxcount", values.maxcount);
  read_signed(heap, "mode", values.mode);
  values.head = read_flag(heap, "head", values.head);
  read_text(heap, "locale", values.locale);
  std::uint32_t charset = values.charset;
  read_number(heap, "charset", charset);
  values.charset = charset <= 2 ? charset : values.charset;
}

}  // namespace

template <class HEAP, class BASE>
int Log_Cfg_T<HEAP, BASE>::read_log_config(const char* section, const char* file) {
  if (section != nullptr) values.section = section;
  const std::string path = beside_library(file != nullptr ? file : values.config_file);
  const HEAP heap(values.section.c_str(), path.c_str());
  values.config_file = path;
  values.config_mtime = ModifiedTime(path.c_str());

  read_plain_keys(heap, values);
  const bool has_level = read_number(heap, "level", values.level);
  const bool has_style = read_number(heap, "style", values.style);
  const bool has_console_level = read_number(heap, "console_level", values.console_level);
  read_text(heap, "title", values.title);
  read_text(heap, "file", values.file);
  split_list(text_of(heap, "include").c_str(), values.include, ";,");
  split_list(text_of(heap, "exclude").c_str(), values.exclude, ";,");

  // A word has read as the number 0 so far.
  if (has_level && values.level == 0) resolve_word(heap, "level", values.level, level_words);
  if (has_style) resolve_word(heap, "style", values.style, style_words);
  if (has_console_level && values.console_level == 0)
    resolve_word(heap, "console_level", values.console_level, level_words);
  if (has_level && !has_console_level) values.console_level = values.level;
  values.maxsize = values.maxsize < kLeastMaxsize ? kLeastMaxsize : values.maxsize;
  return 0;
}

template int Log_Cfg_T<Log_Cfg_Heap_Reg, Log_Cfg>::read_log_config(const char*, const char*);

}  // namespace zevra
