#include "tools/zevra/options.h"

#include <CLI/CLI.hpp>
#include <map>

#include "zevra_version.h"

namespace zevra::command {
namespace {

constexpr double kShortest = 0.001;
constexpr double kLongest = 31'536'000;  // a year

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

CLI::App& AddCommand(CLI::App& app, Options& options, Options::Command which,
                     const std::string& name, const std::string& description) {
  CLI::App& command = *app.add_subcommand(name, description);
  command.group("Commands");
  command.set_help_flag("-h,--help", "Print this help and end.");
  command.callback([&options, which] { options.command = which; });
  return command;
}

void AddDevice(CLI::App& command, Options& options) {
  command
      .add_option(
          "--device,-d", options.endpoint.name,
          "The endpoint, by its whole name as in 'zevra list'; upper and lower case are the "
          "same. Without it the default endpoint.")
      ->type_name("NAME");
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
      ->check(CLI::Range(kShortest, kLongest).description(""));
}

void AddCapture(CLI::App& command, Options& options) {
  AddDevice(command, options);
  AddFlow(command, options);
  AddSeconds(command, options);
  command.add_option("--rate,-r", options.format.rate, "Frames a second, 4000 to 384000.")
      ->type_name("HZ")
      ->check(CLI::Range(4000U, 384000U).description(""))
      ->capture_default_str();
  command.add_option("--channels,-c", options.format.channels, "Channels, 1 to 8.")
      ->type_name("N")
      ->check(CLI::Range(1, 8).description(""))
      ->capture_default_str();
  command.add_flag_callback(
      "--no-keep-alive", [&options] { options.keep_alive = false; },
      "Do not play silence meanwhile. An endpoint on which nothing plays then delivers nothing, so "
      "that quiet stretches are missing.");
}

void AddQuiet(CLI::App& command, Options& options) {
  command.add_flag("--quiet,-q", options.quiet,
                   "Say nothing unless something fails or is missing.");
}

void AddRecord(CLI::App& app, Options& options) {
  CLI::App& command =
      AddCommand(app, options, Options::Command::kRecord, "record",
                 "Record what an endpoint plays, or what a capture endpoint records, into a WAV "
                 "file. The file keeps the clock: silence takes the place of what is lost, and the "
                 "exit status is 1.");
  command
      .add_option("FILE", options.file,
                  "Where to: a name that ends in .wav, which is overwritten, or - for standard "
                  "output. Fields like %Y-%m-%d or %H.%M stand for the time of its start.")
      ->type_name("")
      ->required();
  command
      .add_option("--format,-f", options.format.type,
                  "Samples: unsigned 8 bits, signed 16, 24 (packed) or 32 bits, or float.")
      ->type_name("u8|s16|s24|s32|f32")
      ->default_str("s16")
      ->transform(OneOf(SampleTypeNames()));
  command
      .add_option("--container", options.container,
                  "What standard output gets: samples alone, or a WAV header before them that "
                  "tells no length.")
      ->type_name("raw|wav")
      ->default_str("raw")
      ->transform(OneOf(ContainerNames()));
  AddCapture(command, options);
  AddQuiet(command, options);
  command.footer(
      "Examples:\n  zevra record --seconds 10 tune.wav\n"
      "  zevra record --rate 16000 --channels 1 speech.wav");
}

}  // namespace

void Describe(CLI::App& app, Options& options) {
  app.name("zevra");
  app.description("Record, watch and list what this machine plays and records.");
  app.require_subcommand(0, 1);
  // A word that begins with a slash may be a path. Commands take this over when they are added.
  app.allow_windows_style_options(false);
  app.set_version_flag("--version", "zevra " ZEVRA_VERSION_STRING, "Print the version and end.");
  app.set_help_flag("-h,--help", "Print this help and end. Each command has a help of its own.");
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.get_formatter()->label("Positionals", "Arguments");
  app.get_formatter()->label("REQUIRED", "");
  AddRecord(app, options);
  CLI::App& meter =
      AddCommand(app, options, Options::Command::kMeter, "meter",
                 "Show the level of each channel until Ctrl-C, in decibels of full scale.");
  AddCapture(meter, options);
  meter.add_flag("--spectrum", options.spectrum,
                 "Also show how loud each octave from 31 Hz to 16 kHz is, over all channels.");
  CLI::App& list = AddCommand(app, options, Options::Command::kList, "list",
                              "List the active endpoints: name, flow, whether it is the default of "
                              "its flow, and volume.");
  list.add_flag("--json", options.json,
                "Print a JSON array instead, of objects with name, flow, default and volume (0 to "
                "1, or null where it cannot be had).");
  CLI::App& volume = AddCommand(app, options, Options::Command::kVolume, "volume",
                                "Print an endpoint's volume on the scale of the system's mixer.");
  AddDevice(volume, options);
  AddFlow(volume, options);
  CLI::App& silence =
      AddCommand(app, options, Options::Command::kSilence, "silence",
                 "Play silence on a render endpoint, which keeps it from falling asleep.");
  AddDevice(silence, options);
  AddSeconds(silence, options);
  AddQuiet(silence, options);
  app.footer(
      "Exit status:\n  0  done, also when Ctrl-C ended it\n"
      "  1  failed, with one line on standard error that says why\n  2  bad arguments");
}

}  // namespace zevra::command
