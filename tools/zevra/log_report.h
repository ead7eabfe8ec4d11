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
  std::vector<LogSetting> settings;   // every key, in the order of docs/logging.md
  std::vector<std::string> warnings;  // what the reader will not take as it was meant
};

// `library_path` is the full path of the library whose log is meant.
LogReport DescribeLog(const std::string& library_path);

}  // namespace zevra

#endif
