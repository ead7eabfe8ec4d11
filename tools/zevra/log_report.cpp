#include "tools/zevra/log_report.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <system_error>

#include "log/paths.h"
#include "log/settings.h"
#include "platform/files.h"
#include "platform/profile.h"
#include "platform/text.h"

namespace zevra {
namespace {

constexpr const char* kSection = "logger";
constexpr std::size_t kLongestValue = 1023;
constexpr std::size_t kLongestToken = 399;
constexpr std::uint32_t kEveryOutput = kOutputFile | kOutputConsole | kOutputDebugger | kOutputBox;
constexpr std::uint32_t kEveryLevel = kLevelError | kLevelWarn | kLevelVerbose | kLevelTrace;

enum class Kind { kNumber, kMask, kFlag, kLevel, kStyle, kText, kList };

bool Same(const std::string& left, const char* right) {
  return SameIgnoringCase(left.c_str(), right);
}

std::string Hexadecimal(std::uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(value));
  return text;
}

std::string WithWord(std::uint32_t value, const SettingWords* table) {
  for (; table->words != nullptr; ++table)
    if (table->value == value) return Hexadecimal(value) + " (" + table->words + ")";
  return Hexadecimal(value);
}

std::string Joined(const std::vector<std::string>& entries) {
  std::string text;
  for (const std::string& entry : entries) text += (text.empty() ? "" : ", ") + entry;
  return text;
}

struct Key {
  const char* name;
  Kind kind;
  std::string (*show)(const Log_Cfg_Values& values);
};

constexpr Key kKeys[] = {
    {"file", Kind::kText, [](const Log_Cfg_Values& v) { return v.file; }},
    {"title", Kind::kText, [](const Log_Cfg_Values& v) { return v.title; }},
    {"output", Kind::kMask, [](const Log_Cfg_Values& v) { return Hexadecimal(v.output); }},
    {"level", Kind::kLevel, [](const Log_Cfg_Values& v) { return WithWord(v.level, level_words); }},
    {"style", Kind::kStyle, [](const Log_Cfg_Values& v) { return WithWord(v.style, style_words); }},
    {"console_level", Kind::kLevel,
     [](const Log_Cfg_Values& v) { return WithWord(v.console_level, level_words); }},
    {"flush", Kind::kFlag, [](const Log_Cfg_Values& v) { return std::to_string(v.flush.get()); }},
    {"maxsize", Kind::kNumber, [](const Log_Cfg_Values& v) { return std::to_string(v.maxsize); }},
    {"maxcount", Kind::kNumber, [](const Log_Cfg_Values& v) { return std::to_string(v.maxcount); }},
    {"overwrite", Kind::kFlag, [](const Log_Cfg_Values& v) { return std::to_string(v.overwrite); }},
    {"head", Kind::kFlag, [](const Log_Cfg_Values& v) { return std::to_string(v.head); }},
    {"mode", Kind::kNumber, [](const Log_Cfg_Values& v) { return std::to_string(v.mode); }},
    {"charset", Kind::kNumber, [](const Log_Cfg_Values& v) { return std::to_string(v.charset); }},
    {"locale", Kind::kText, [](const Log_Cfg_Values& v) { return v.locale; }},
    {"include", Kind::kList, [](const Log_Cfg_Values& v) { return Joined(v.include); }},
    {"exclude", Kind::kList, [](const Log_Cfg_Values& v) { return Joined(v.exclude); }},
    {"subjects", Kind::kMask, [](const Log_Cfg_Values& v) { return Hexadecimal(v.subjects); }},
};

// How a number text reads, if that is not what it seems to say.
void CheckNumber(const Key& key, const std::string& text, std::vector<std::string>& warnings) {
  const std::string shown = std::string(key.name) + "=" + text;
  const std::int32_t number = NumberIn(text.c_str());
  const std::string reads = " reads as " + std::to_string(number);
  char* end = nullptr;
  errno = 0;
  const long exact = std::strtol(text.c_str(), &end, 0);
  if (end == text.c_str()) {
    warnings.push_back(shown + " is no number:" + reads +
                       (key.kind == Kind::kFlag ? ", off; write 1 or 0" : ""));
  } else if (*end != '\0') {
    warnings.push_back(shown + reads + ": \"" + end + "\" is not taken, there are no units");
  } else if (exact != number || errno == ERANGE) {
    warnings.push_back(shown + reads + ", the limit of a number");
  } else if (text.size() > 1 && text[0] == '0' && std::strchr("xX", text[1]) == nullptr) {
    warnings.push_back(shown + reads + ": a leading 0 means octal");
  }
}

void CheckWord(const Key& key, const std::string& text, std::vector<std::string>& warnings) {
  const SettingWords* const table = key.kind == Kind::kLevel ? level_words : style_words;
  std::uint32_t ignored = 0;
  char* end = nullptr;
  std::strtol(text.c_str(), &end, 0);
  if (end != text.c_str()) {
    CheckNumber(key, text, warnings);
  } else if (lookup_word(ignored, text.c_str(), table) != 0) {
    warnings.push_back(std::string(key.name) + "=" + text + " is no known word: reads as 0, " +
                       (key.kind == Kind::kLevel ? "nothing passes" : "bare lines"));
  }
}

void CheckList(const Key& key, const std::string& text, std::vector<std::string>& warnings) {
  std::vector<std::string> entries;
  split_list(text.c_str(), entries, ";,");
  for (const std::string& entry : entries) {
    if (entry.find_first_of("'\"") != std::string::npos) {
      warnings.push_back(std::string(key.name) + ": the quotes of " + entry +
                         " are part of the entry");
    }
    if (entry.size() >= kLongestToken)
      warnings.push_back(std::string(key.name) + ": an entry is cut to 399 bytes");
  }
}

void CheckValue(const Key& key, const std::string& text, std::vector<std::string>& warnings) {
  switch (key.kind) {
    case Kind::kNumber:
    case Kind::kMask:
    case Kind::kFlag:
      CheckNumber(key, text, warnings);
      break;
    case Kind::kLevel:
    case Kind::kStyle:
      CheckWord(key, text, warnings);
      break;
    case Kind::kList:
      CheckList(key, text, warnings);
      break;
    case Kind::kText:
      break;
  }
  if (text.size() >= kLongestValue)
    warnings.push_back(std::string(key.name) + " is cut to 1023 bytes");
}

// Values that are well written and still do not do what one might expect.
void CheckEffects(const Log_Cfg_Values& values, const Log_Cfg_Heap_Reg& heap,
                  std::vector<std::string>& warnings) {
  const auto number = [&](const char* key, std::int32_t otherwise) {
    std::string text;
    heap.get_value(key, text);
    return text.empty() ? otherwise : NumberIn(text.c_str());
  };
  if (const std::int32_t size = number("maxsize", 65536); size >= 0 && size < 65536)
    warnings.emplace_back("maxsize is raised to 65536, the least there is");
  if (const std::int32_t charset = number("charset", 0); charset < 0 || charset > 2)
    warnings.emplace_back("charset is neither 0, 1 nor 2: ignored");
  if (const std::int32_t mode = number("mode", 0); mode < 0 || mode > 3)
    warnings.emplace_back("mode is none of 0 to 3: the file is opened as with 0");
  if (values.output == 0 || values.level == 0) {
    warnings.emplace_back(
        "nothing is logged, and this file is not looked at again until the program restarts");
  } else if ((values.output & kEveryOutput) == 0 || (values.level & kEveryLevel) == 0) {
    warnings.emplace_back(
        "nothing is logged: zevra writes the levels 2, 4, 16 and 128 to the outputs 1, 2, 4 and 8");
  }
}

void CheckLayout(const std::string& config_file, std::vector<std::string>& warnings) {
  const std::vector<std::string> sections = ProfileSections(config_file.c_str());
  const auto mine = std::count_if(sections.begin(), sections.end(),
                                  [](const std::string& name) { return Same(name, kSection); });
  if (mine == 0)
    warnings.emplace_back("there is no section [logger]: nothing in the file counts");
  else if (mine > 1)
    warnings.emplace_back("there are several sections [logger]: only the first counts");
  std::vector<std::string> seen;
  for (const std::string& key : ProfileSection(kSection, config_file.c_str()).Keys()) {
    if (std::none_of(std::begin(kKeys), std::end(kKeys),
                     [&](const Key& known) { return Same(key, known.name); }))
      warnings.push_back("unknown key " + key + ": ignored");
    else if (std::any_of(seen.begin(), seen.end(),
                         [&](const std::string& other) { return Same(other, key.c_str()); }))
      warnings.push_back(key + " stands there more than once: only the first counts");
    seen.push_back(key);
  }
}

// The program has one thread yet when these are asked.
std::string NameOfUser(uid_t user) {
  const passwd* const entry = getpwuid(user);  // NOLINT(concurrency-mt-unsafe)
  return entry != nullptr ? entry->pw_name : "user " + std::to_string(user);
}

std::string NameOfGroup(gid_t group) {
  const struct group* const entry = getgrgid(group);  // NOLINT(concurrency-mt-unsafe)
  return "the group " + (entry != nullptr ? std::string(entry->gr_name) : std::to_string(group));
}

std::string WhoCanWrite(const struct stat& status) {
  std::string who = "root";
  if (status.st_uid != 0 && (status.st_mode & S_IWUSR) != 0) who = NameOfUser(status.st_uid);
  return who + ((status.st_mode & S_IWGRP) != 0 ? " and " + NameOfGroup(status.st_gid) : "");
}

// What keeps this user from writing the file or, where it is not there yet, from making it: the
// system's words and who could. Empty where nothing does.
std::string ObstacleTo(const std::string& file) {
  std::filesystem::path place = file;
  struct stat status {};
  int error = 0;
  while (stat(place.c_str(), &status) != 0) {
    if (errno != ENOENT && error == 0) error = errno;
    if (place == place.parent_path()) break;
    place = place.parent_path();
  }
  const bool is_there = place == file;
  std::string who;
  if (is_there && (S_ISDIR(status.st_mode) || S_ISFIFO(status.st_mode)))
    error = S_ISDIR(status.st_mode) ? EISDIR : ESPIPE;
  if (error == 0 &&
      faccessat(AT_FDCWD, place.c_str(), is_there ? R_OK | W_OK : W_OK | X_OK, AT_EACCESS) != 0) {
    error = errno;
    if (error == EACCES) who = "; " + WhoCanWrite(status) + " can";
  }
  if (error == 0) return {};
  return NameOfUser(geteuid()) + " cannot write " + file + ": " +
         std::generic_category().message(error) + who;
}

std::string RemedyFor(const LogReport& report, bool has_file_key) {
  return (has_file_key ? "change the line file=" + report.log_file : "put a line file=PATH") +
         " in the section [logger] of " + report.config_target +
         ", or output=5 there for the system log too";
}

}  // namespace

LogReport DescribeLog(const std::string& library_path) {
  LogReport report;
  // As the library finds its directory and joins it.
  const std::string directory =
      library_path.size() < kPathLimit ? DirectoryOf(library_path) : std::string();
  report.config_file = AnchorIn(directory, "zevra.cfu");
  report.config_file_found = ModifiedTime(report.config_file.c_str()) != 0;

  std::error_code error;
  const auto target = std::filesystem::canonical(report.config_file, error);
  report.config_target = error ? report.config_file : target.string();

  Log_Settings settings("zevra.log", "zevra logging");
  settings.read_log_config(kSection, report.config_file.c_str());
  report.log_file = AnchorIn(directory, settings.file());

  const Log_Cfg_Heap_Reg heap(kSection, report.config_file.c_str());
  bool level_in_file = false;
  for (const Key& key : kKeys) {
    std::string text;
    heap.get_value(key.name, text);
    const bool in_file = !text.empty();
    level_in_file = level_in_file || (in_file && Same(key.name, "level"));
    const bool by_level = !in_file && level_in_file && Same(key.name, "console_level");
    report.settings.push_back({key.name, key.show(settings.values),
                               in_file    ? "file"
                               : by_level ? "file, by level"
                                          : "default"});
    if (in_file) CheckValue(key, text, report.warnings);
  }
  CheckEffects(settings.values, heap, report.warnings);
  if ((settings.values.output & kOutputFile) != 0 && !report.log_file.empty()) {
    report.obstacle = ObstacleTo(report.log_file);
    std::string file;
    heap.get_value("file", file);
    if (!report.obstacle.empty()) report.remedy = RemedyFor(report, !file.empty());
    report.keeps_errors = report.obstacle.empty() && (settings.values.level & kLevelError) != 0;
  }
  if (report.log_file.empty() || report.log_file.size() > kPathLimit)
    report.warnings.emplace_back("a path is longer than 260 characters: there will be no log file");
  if (report.config_file_found) CheckLayout(report.config_file, report.warnings);
  return report;
}

std::string SettingsForFile(const LogReport& report, const std::string& file) {
  Log_Settings settings;
  settings.read_log_config(kSection, report.config_file.c_str());
  // Of keys that stand there twice the first counts.
  std::string text = "[logger]\nfile=" + file + "\nhead=0\nstyle=long\nmode=0\n";
  text += "maxsize=65536\noverwrite=1\n";
  text += "output=" + Hexadecimal(settings.values.output | kOutputFile) + "\n";
  text += "level=" + Hexadecimal(settings.values.level | kLevelError) + "\n";
  const Log_Cfg_Heap_Reg heap(kSection, report.config_file.c_str());
  for (const Key& key : kKeys) {
    std::string value;
    heap.get_value(key.name, value);
    if (!value.empty()) text += std::string(key.name) + "=" + value + "\n";
  }
  return text;
}

}  // namespace zevra
