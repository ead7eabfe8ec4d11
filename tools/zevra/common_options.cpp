#include "tools/zevra/common_options.h"

#include <map>

#include "zevra_version.h"

namespace zevra::command {
namespace {

const std::map<std::string, Flow> kFlowNames = {
    {"render", Flow::kRender}, {"capture", Flow::kCapture}, {"both", Flow::kBoth}};

// Lets only a name through and turns it into its value.
template <class Value>
CLI::Validator OneOf(const std::map<std::string, Value>& names) {
  const auto replace = [&names](std::string& text) {
    if (const auto found = names.find(text); found != names.end()) {
      text = std::to_string(static_cast<int>(found->second));
      return std::string();
    }
    std::string known;
    for (const auto& [name, value] : names) known += (known.empty() ? "" : ", ") + name;
    return text + " is none of " + known;
  };
  return {replace, ""};
}

// The error of a text, "" for a good one.
std::string Seconds(std::string& text) {
  double seconds = 0;
  const bool good =
      CLI::detail::lexical_cast(text, seconds) && seconds > 0 && seconds <= kLongestSeconds;
  return good ? std::string() : text + " is no number above 0 and up to a year of seconds";
}

}  // namespace

void DescribeProgram(CLI::App& app) {
  app.name("zevra");
  app.description("Record, watch and list what this machine plays and records.");
  app.require_subcommand(0, 1);
  app.set_version_flag("--version", "zevra " ZEVRA_VERSION_STRING, "Print the version and end.");
  app.set_help_flag("-h,--help", "Print this help and end. Each command has a help of its own.");
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.get_formatter()->label("Positionals", "Arguments");
  app.get_formatter()->label("REQUIRED", "");
  app.footer(
      "Exit status:\n  0  done, also when Ctrl-C ended it\n"
      "  1  failed, with one line on standard error that says why\n"
      "  2  bad arguments");
}

CLI::App& AddCommand(CLI::App& app, Options& options, void (*run)(const Options&),
                     const std::string& name, const std::string& description) {
  CLI::App& command = *app.add_subcommand(name, description);
  command.group("Commands");
  command.set_help_flag("-h,--help", "Print this help and end.");
  command.set_help_all_flag();
  command.callback([&options, run] { options.run = run; });
  return command;
}

void AddName(CLI::App& command, Options& options, const std::string& description) {
  command.add_option("--device,-d", options.endpoint.name, description)->type_name("NAME");
}

void AddFlow(CLI::App& command, Options& options) {
  command
      .add_option("--flow", options.endpoint.flow,
                  "Where to look: at endpoints that play (render), at those that record (capture), "
                  "or at both. Without a name, render and both mean the default render endpoint.")
      ->type_name("render|capture|both")
      ->transform(OneOf(kFlowNames));
}

void AddSeconds(CLI::App& command, Options& options) {
  command
      .add_option("--seconds,-s", options.seconds,
                  "End after so many seconds. Without it Ctrl-C ends it.")
      ->type_name("N")
      ->check(CLI::Validator(Seconds, ""));
}

void AddLayout(CLI::App& command, Options& options) {
  command.add_option("--rate,-r", options.format.rate, "Frames a second, 4000 to 384000.")
      ->type_name("HZ")
      ->check(CLI::Range(4000U, 384000U).description(""))
      ->capture_default_str();
  command.add_option("--channels,-c", options.format.channels, "Channels, 1 to 8.")
      ->type_name("N")
      ->check(CLI::Range(1, 8).description(""))
      ->capture_default_str();
}

void AddSamples(CLI::App& command, Options& options, const std::string& remark) {
  command
      .add_option("--format,-f", options.format.type,
                  "Samples: unsigned 8 bits, signed 16, 24 (packed) or 32 bits, or float." + remark)
      ->type_name("u8|s16|s24|s32|f32")
      ->default_str("s16")
      ->transform(OneOf(SampleTypeNames()));
  command
      .add_option("--container", options.container,
                  "What standard output, or a name without such an ending, gets: samples alone, or "
                  "a WAV header before them, which in a stream tells no length.")
      ->type_name("raw|wav")
      ->default_str("raw")
      ->transform(OneOf(ContainerNames()));
}

void AddKeepAlive(CLI::App& command, Options& options) {
  command.add_flag_callback(
      "--no-keep-alive", [&options] { options.keep_alive = false; },
      "Do not play silence meanwhile. An endpoint on which nothing plays then delivers nothing, so "
      "that quiet stretches are missing.");
}

void AddQuiet(CLI::App& command, Options& options) {
  command.add_flag("--quiet,-q", options.quiet,
                   "Say nothing unless something fails or is missing.");
}

}  // namespace zevra::command
