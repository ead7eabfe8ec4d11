#ifndef ZEVRA_TOOLS_ZEVRA_LOG_REPORT_H
#define ZEVRA_TOOLS_ZEVRA_LOG_REPORT_H

// What a person wants to know of the log, worked out from the outside with the library's own
// reader: no logger is made and nothing is written. One thread; throws std::bad_alloc only.

#include <string>
#include <vector>

namespace zevra {

struct LogSetting {
  std::string key;
  std::string value;   // as it is in force, masks with their names
  std::string source;  // "default", "file", or "file, by level"
};

struct LogReport {
  std::string log_file;
  std::string config_file;
  bool config_file_found = false;
  // The file to edit: what config_file leads to, which packages put somewhere else.
  std::string config_target;
  // Why hosts of this user write no log file, and who could, and what to change; both empty where
  // the file can be written, or is not wanted.
  std::string obstacle;
  std::string remedy;
  // Whether failed calls of this user's hosts leave lines in the file.
  bool keeps_errors = false;
  std::vector<LogSetting> settings;   // every key, in the order of docs/logging.md
  std::vector<std::string> warnings;  // what the reader will not take as it was meant
};

// `library_path` is the full path of the library whose log is meant.
LogReport DescribeLog(const std::string& library_path);

// The text of a settings file like the one that was described, but for a log that is `file` alone
// and keeps at least the errors.
std::string SettingsForFile(const LogReport& report, const std::string& file);

}  // namespace zevra

#endif
