#include <cstdio>
#include <filesystem>

#include "tools/zevra/device.h"
#include "tools/zevra/log_report.h"
#include "tools/zevra/options.h"
#include "tools/zevra/terminal.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

std::string FullPath(const std::string& library) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(library, error))
    throw Failure("there is no library " + library);
  return std::filesystem::absolute(library, error).lexically_normal().string();
}

}  // namespace

void Log(const Options& options) {
  const std::string library =
      options.module_path.empty() ? Library(false).Path() : FullPath(options.module_path);
  const LogReport report = DescribeLog(library);
  PrintTable({{"Log file", report.log_file},
              {"Settings file",
               report.config_file + (report.config_file_found ? "" : " (not there: defaults)")}});
  std::puts("");
  std::vector<std::vector<std::string>> table = {{"SETTING", "FROM", "VALUE"}};
  for (const LogSetting& setting : report.settings)
    table.push_back({setting.key, setting.source, setting.value});
  PrintTable(table);
  for (const std::string& warning : report.warnings)
    std::fprintf(stderr, "zevra: warning: %s\n", warning.c_str());
}

}  // namespace zevra::command
