#include "fuzz.h"
#include "log/settings.h"
#include "platform/profile.h"
#include "tools/zevra/log_report.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const InputFile file("zevra.cfu",
                       "[logger]\n" + std::string(reinterpret_cast<const char*>(data), size));
  const std::string& path = file.path;

  zevra::Log_Settings settings;
  Require(settings.read_log_config("logger", path.c_str()) == 0);
  Require(settings.maxsize() >= 65536 && settings.charset() <= 2);
  Require(settings.values.title.size() <= 1023 && !settings.values.file.empty());
  Require(settings.values.config_file == path && settings.config_file() == path);
  zevra::Log_Settings again(settings);
  again.read_log_config(nullptr, nullptr);
  Require(again.level() == settings.level() && again.console_level() == settings.console_level());
  // In the place of a library's directory.
  zevra::DescribeLog(std::filesystem::path(path).replace_filename("libzevra.so"));

  char tiny[3] = {'x', 'x', 'x'};
  Require(
      zevra::ProfileSection("logger", path.c_str()).Text("title", "default", tiny, sizeof tiny) <
      3);
  Require(tiny[2] == '\0' || tiny[1] == '\0' || tiny[0] == '\0');
  return 0;
}
