// Prints the command line's description as JSON, for the manual page and the shells' completions.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <nlohmann/json.hpp>
#include <string>

#include "tools/zevra/options.h"
#include "zevra_version.h"

namespace zevra::command {
namespace {

using Json = nlohmann::ordered_json;

Json Names(const CLI::Option& option) {
  Json names = Json::array();
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

// "value" is what follows the option, "" for nothing; "without" is set where it may stay away.
Json Description(const CLI::Option& option) {
  Json described = {{"names", Names(option)},
                    {"positional", option.get_positional() ? option.get_name(true) : ""},
                    {"value", option.get_type_name()},
                    {"default", option.get_default_str()},
                    {"text", option.get_description()}};
  if (!option.get_fnames().empty())
    described["without"] = option.get_flag_value(option.get_fnames().front(), "");
  return described;
}

Json Description(const CLI::App& app) {
  Json described = {{"name", app.get_name()},
                    {"text", app.get_description()},
                    {"footer", app.get_footer()},
                    {"options", Json::array()},
                    {"commands", Json::array()}};
  for (const CLI::Option* option : app.get_options())
    described["options"].push_back(Description(*option));
  for (const CLI::App* command : app.get_subcommands({}))
    described["commands"].push_back(Description(*command));
  return described;
}

}  // namespace
}  // namespace zevra::command

int main() {
  try {
    zevra::command::Options options;
    CLI::App app;
    zevra::command::Describe(app, options);
    auto described = zevra::command::Description(app);
    described["version"] = ZEVRA_VERSION_STRING;
    return std::puts(described.dump(2).c_str()) < 0 ? 1 : 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "zevra_describe: %s\n", failure.what());
    return 1;
  }
}
