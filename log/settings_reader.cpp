#include <array>
#include <optional>

#include "log/paths.h"
#include "log/settings.h"
#include "platform/files.h"
#include "platform/profile.h"

namespace zevra {
namespace {

constexpr std::uint64_t kLeastMaxsize = 65536;

// A key counts as present if its text is not empty.
template <class HEAP>
std::string TextOf(const HEAP& heap, const char* key) {
  std::string text;
  heap.get_value(key, text);
  return text;
}

template <class HEAP>
std::optional<std::int32_t> NumberOf(const HEAP& heap, const char* key) {
  const std::string text = TextOf(heap, key);
  return text.empty() ? std::nullopt : std::optional(NumberIn(text.c_str()));
}

template <class HEAP, class FIELD>
bool ReadNumber(const HEAP& heap, const char* key, FIELD& field) {
  const std::optional<std::int32_t> number = NumberOf(heap, key);
  if (number) field = static_cast<std::uint32_t>(*number);
  return number.has_value();
}

template <class HEAP>
void ReadSigned(const HEAP& heap, const char* key, std::int32_t& field) {
  field = NumberOf(heap, key).value_or(field);
}

template <class HEAP>
bool ReadFlag(const HEAP& heap, const char* key, bool without_key) {
  const std::optional<std::int32_t> number = NumberOf(heap, key);
  return number ? *number != 0 : without_key;
}

template <class HEAP>
void ReadText(const HEAP& heap, const char* key, std::string& field) {
  if (std::string text = TextOf(heap, key); !text.empty()) field = std::move(text);
}

template <class HEAP>
void ResolveWord(const HEAP& heap, const char* key, Live<std::uint32_t>& field,
                 const SettingWords* table) {
  std::uint32_t value = field;
  if (lookup_word(value, TextOf(heap, key).c_str(), table) == 0) field = value;
}

template <class HEAP>
void ReadPlainKeys(const HEAP& heap, Log_Cfg_Values& values) {
  ReadNumber(heap, "output", values.output);
  ReadNumber(heap, "subjects", values.subjects);
  if (const std::optional<std::int32_t> maxsize = NumberOf(heap, "maxsize"))
    values.maxsize = static_cast<std::uint64_t>(std::int64_t{*maxsize});
  // Without their key these two are off, so that removing the key switches them off.
  values.overwrite = ReadFlag(heap, "overwrite", false);
  values.flush = ReadFlag(heap, "flush", false);
  ReadSigned(heap, "maxcount", values.maxcount);
  ReadSigned(heap, "mode", values.mode);
  values.head = ReadFlag(heap, "head", values.head);
  ReadText(heap, "locale", values.locale);
  std::uint32_t charset = values.charset;
  ReadNumber(heap, "charset", charset);
  values.charset = charset <= 2 ? charset : values.charset;
}

}  // namespace

Log_Cfg_Heap_Reg::Log_Cfg_Heap_Reg(const char* section, const char* file)
    : Log_Cfg_Heap(section, file) {
  if (!is_file_) key_ = OpenRegistryKey(section);
}

Log_Cfg_Heap_Reg::~Log_Cfg_Heap_Reg() {
  if (!is_file_) CloseRegistryKey(key_);
}

int Log_Cfg_Heap_Reg::get_value(const char* key, std::string& text) const {
  if (!is_file_) return RegistryText(key_, key, text);
  std::array<char, 1024> value{};
  keys_.Text(key, text.c_str(), value.data(), value.size());
  text = value.data();
  return 0;
}

template <class HEAP, class BASE>
int Log_Cfg_T<HEAP, BASE>::read_log_config(const char* section, const char* file) {
  if (section != nullptr) values.section = section;
  const std::string path =
      AnchorAtModule(file != nullptr ? file : values.config_file.c_str(), kThisLibrary);
  values.config_file = path;
  // Before the file is read, so that an edit in between is read the next time.
  values.config_mtime = ModifiedTime(path.c_str());
  const HEAP heap(values.section.c_str(), path.c_str());

  ReadPlainKeys(heap, values);
  const bool has_level = ReadNumber(heap, "level", values.level);
  const bool has_style = ReadNumber(heap, "style", values.style);
  const bool has_console_level = ReadNumber(heap, "console_level", values.console_level);
  ReadText(heap, "title", values.title);
  ReadText(heap, "file", values.file);
  split_list(TextOf(heap, "include").c_str(), values.include, ";,");
  split_list(TextOf(heap, "exclude").c_str(), values.exclude, ";,");

  // A word has been read as the number 0.
  if (has_level && values.level == 0) ResolveWord(heap, "level", values.level, level_words);
  if (has_style) ResolveWord(heap, "style", values.style, style_words);
  if (has_console_level && values.console_level == 0)
    ResolveWord(heap, "console_level", values.console_level, level_words);
  if (has_level && !has_console_level) values.console_level = values.level;
  values.maxsize = values.maxsize < kLeastMaxsize ? kLeastMaxsize : values.maxsize;
  return 0;
}

template int Log_Cfg_T<Log_Cfg_Heap_Reg, Log_Cfg>::read_log_config(const char*, const char*);

}  // namespace zevra
