#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>

#include "tools/zevra/applications.h"
#include "tools/zevra/common_options.h"
#include "tools/zevra/options.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

// These give the error of a text, "" for a good one.
// "90", "90s", "15m", "1h" or several of them, as seconds.
std::string Duration(std::string& text) {
  double seconds = 0;
  bool good = !text.empty();
  for (std::size_t at = 0; good && at < text.size();) {
    const std::size_t end = std::min(text.find_first_not_of("0123456789.", at), text.size());
    double number = 0;
    good = CLI::detail::lexical_cast(text.substr(at, end - at), number);
    const char unit = end < text.size() ? text[end] : 's';
    good = good && (unit == 's' || unit == 'm' || unit == 'h');
    seconds += number * (unit == 'h' ? 3600 : unit == 'm' ? 60 : 1);
    at = end + 1;
  }
  if (!good || seconds < 1 || seconds > kLongestSeconds)
    return text + " is no time of a second to a year, such as 90s, 15m or 1h";
  text = std::to_string(seconds);
  return std::string();
}

// "-50" or "-50dB", below full scale.
std::string Decibels(std::string& text) {
  std::string number = text;
  if (number.size() > 2 && EqualIgnoringCase(number.substr(number.size() - 2), "dB"))
    number.resize(number.size() - 2);
  double decibels = 0;
  if (!CLI::detail::lexical_cast(number, decibels) || decibels > 0 || decibels < -200)
    return text + " is no level from -200dB to 0dB";
  text = number;
  return std::string();
}

void AddBuiltin(CLI::App& command, Options& options) {
  command.add_flag("--builtin", options.endpoint.builtin,
                   "Use the endpoints inside this program, which play a melody, instead of the "
                   "machine's: to try things without a sound server.");
  command.add_flag("--verbose", options.verbose,
                   "At the end, print on standard error what the library logged of calls that "
                   "failed.");
}

void AddDevice(CLI::App& command, Options& options, const std::string& what) {
  AddName(command, options,
          "The endpoint to " + what +
              ", by its whole name as in 'zevra list', where upper and lower case are the same, or "
              "by its id. Without it the default endpoint.");
  AddBuiltin(command, options);
}

void AddApplication(CLI::App& command, Options& options) {
  const auto choose = [&options](const std::string& name) {
    options.endpoint.name = ApplicationEndpoint(name);
    options.endpoint.flow = Flow::kRender;
    options.endpoint.is_application = true;
  };
  command
      .add_option_function<std::string>(
          "--app", choose,
          "Only what this application plays, by its name as in 'zevra list --apps'. Its own volume "
          "counts, the endpoint's does not. When the application ends, so does this.")
      ->type_name("APPLICATION")
      ->excludes("--device", "--flow");
}

void AddTracks(CLI::App& command, Options& options) {
  CLI::Option* const microphone =
      command
          .add_flag("--with-microphone{default}", options.microphone,
                    "Record two tracks in step: the endpoint on the left, and on the right the "
                    "default capture endpoint or the one named.")
          ->type_name("NAME");
  command
      .add_flag("--separate", options.separate,
                "Write the two tracks into files of one channel each, the microphone's with "
                "-microphone in its name.")
      ->needs(microphone);
}

// A flag that may have a value after "=" only, so that it takes no argument that follows. `read`
// gets the value, or `otherwise`.
CLI::Option& AddFlagWithValue(CLI::App& command, const std::string& name,
                              const std::string& otherwise, const CLI::Validator& check,
                              const std::function<void(double)>& read,
                              const std::string& description) {
  // The library would only count such flags.
  const auto take = [read](std::string& text) {
    read(std::stod(text));
    text = "1";
    return std::string();
  };
  return *command
              .add_flag_function(
                  name + "{" + otherwise + "}", [](std::int64_t /*count*/) {}, description)
              ->transform(CLI::Validator(take, ""))
              ->transform(check);
}

void AddGates(CLI::App& command, Options& options) {
  CLI::Option& skip = AddFlagWithValue(
      command, "--skip-silence", "-50dB", CLI::Validator(Decibels, ""),
      [&options](double decibels) { options.skip_silence = decibels; },
      "Leave out what stays quieter than that for longer than half a second.");
  AddFlagWithValue(
      command, "--start-on-sound", "-50dB", CLI::Validator(Decibels, ""),
      [&options](double decibels) { options.start_on_sound = decibels; },
      "Begin with the first sound that is as loud as that.")
      .excludes(&skip);
}

void AddTarget(CLI::App& command, Options& options) {
  command
      .add_option("FILE", options.file,
                  "Where to: a name that ends in .wav, .flac, .ogg, .opus or .mp3, which is "
                  "overwritten, or - for standard output. Fields like %Y-%m-%d or %H.%M stand for "
                  "the time of its start, %% for a percent sign.")
      ->type_name("")
      ->required();
  AddSamples(command, options, " FLAC takes the first three.");
  command
      .add_option("--split", options.split_seconds,
                  "Go on in a new file after so long, such as 90s, 15m or 1h, without losing a "
                  "frame. Files whose names do not differ by their time are numbered.")
      ->type_name("TIME")
      ->transform(CLI::Validator(Duration, ""));
}

void AddPersistence(CLI::App& command, Options& options) {
  command
      .add_flag("--follow-default", options.follow_default,
                "When the default endpoint becomes another, go on with that one, in the same file "
                "and in step with the clock. An endpoint that is named stays.")
      ->excludes("--app");
  AddFlagWithValue(
      command, "--reconnect", "8760h", CLI::Validator(Duration, ""),
      [&options](double seconds) { options.patience = seconds; },
      "When the endpoint or the sound server goes away, record silence until it is back, for so "
      "long at most.");
}

void AddRecord(CLI::App& app, Options& options) {
  CLI::App& command = AddCommand(
      app, options, Record, "record",
      "Record what an endpoint plays, or what a capture endpoint records, into a file. "
      "A render endpoint is kept awake with silence meanwhile, so that the recording goes on while "
      "nothing plays. What an endpoint plays is recorded as loud as its volume lets it, and muted "
      "it is silence. The file keeps the clock: silence takes the place of what is lost, each "
      "place is told, and the exit status is 1.");
  AddTarget(command, options);
  AddDevice(command, options, "record");
  AddFlow(command, options);
  AddApplication(command, options);
  AddSeconds(command, options);
  AddLayout(command, options);
  AddPersistence(command, options);
  AddTracks(command, options);
  AddGates(command, options);
  command.add_flag(
      "--json", options.json,
      "Say all as JSON objects on standard error, one a line: start, gap, level once a "
      "second, warning, lost, found, end, error.");
  AddKeepAlive(command, options);
  // Without it there is no telling silence from what is missing.
  command.get_option("--no-keep-alive")
      ->excludes("--reconnect", "--follow-default", "--with-microphone");
  AddQuiet(command, options);
  command.footer(
      "Examples:\n  zevra record --seconds 10 tune.wav\n"
      "  zevra record --rate 16000 --channels 1 speech.flac\n"
      "  zevra record --device \"Built-in Microphone\" --flow capture voice.wav\n"
      "  zevra record --app Firefox concert.flac\n"
      "  zevra record --format s16 - | aplay -f dat");
}

void AddMeter(CLI::App& app, Options& options) {
  CLI::App& command = AddCommand(app, options, Meter, "meter",
                                 "Show the level of each channel until Ctrl-C, in decibels of full "
                                 "scale. Nothing is recorded.");
  AddDevice(command, options, "watch");
  AddFlow(command, options);
  AddApplication(command, options);
  command.add_flag("--spectrum", options.spectrum,
                   "Also show how loud each octave from 31 Hz to 16 kHz is, over all channels.");
  AddSeconds(command, options);
  AddLayout(command, options);
  AddKeepAlive(command, options);
}

void AddList(CLI::App& app, Options& options) {
  CLI::App& command = AddCommand(
      app, options, List, "list",
      "List the active endpoints: name, flow, whether it is the default of its flow, volume and "
      "mute, the format in which it mixes, and an id that stays the same whatever else is plugged "
      "in. On a terminal lines end with the window.");
  command.add_flag("--apps", options.apps,
                   "List the applications that play instead: name, what each plays, on which "
                   "endpoint, and its volume. With --json objects with name, title, endpoint, "
                   "volume, muted and paused.");
  command.add_flag(
      "--json", options.json,
      "Print a JSON array instead, of objects with name, id, flow, default, volume (0 to 1), "
      "muted and mixFormat; what cannot be had is null.");
  AddBuiltin(command, options);
  command.get_option("--apps")->excludes("--builtin");
}

void AddVolume(CLI::App& app, Options& options) {
  CLI::App& command =
      AddCommand(app, options, Volume, "volume",
                 "Print an endpoint's volume on the scale of the system's mixer. Muting does not "
                 "show in it.");
  AddDevice(command, options, "ask");
  AddFlow(command, options);
}

void AddSilence(CLI::App& app, Options& options) {
  CLI::App& command =
      AddCommand(app, options, Silence, "silence",
                 "Play silence on a render endpoint, which keeps it from falling asleep.");
  AddDevice(command, options, "keep awake");
  AddSeconds(command, options);
  AddQuiet(command, options);
}

void AddLog(CLI::App& app, Options& options) {
  CLI::App& command = AddCommand(
      app, options, Log, "log",
      "Print where a library's log and its settings file are, the settings in force and where each "
      "comes from, and a warning for all in the file that is not taken as it was meant.");
  command
      .add_option("--library", options.module_path,
                  "The library whose log is meant, such as the libzevra.so that a host loads. "
                  "Without it the one that this program loads.")
      ->type_name("PATH");
  command.footer("Examples:\n  zevra log --library /usr/lib/x86_64-linux-gnu/libzevra.so.1");
}

void AddDoctor(CLI::App& app, Options& options) {
  CLI::App& command =
      AddCommand(app, options, Doctor, "doctor",
                 "Look at all that a recording needs: the library, its settings "
                 "and log, the copies of it that other programs would load, the "
                 "sound server, the endpoints, and a second of trial. Each line is ok, a note or a "
                 "problem, with what to do; the "
                 "exit status is 1 on a problem.");
  command.add_flag("--json", options.json,
                   "Print a JSON array instead, of objects with subject, state, text and advice.");
  AddBuiltin(command, options);
}

}  // namespace

void CheckTracks(const Options& options) {
  if (!options.microphone) return;
  if (options.format.channels != 2)
    throw BadArgument("--with-microphone makes two channels, one for each track");
  if (options.separate && options.file == "-")
    throw BadArgument("--separate writes two files, and standard output is one");
}

void Describe(CLI::App& app, Options& options) {
  DescribeProgram(app);
  app.set_help_all_flag("--help-all", "Print the help of all commands and end.");
  AddRecord(app, options);
  AddMeter(app, options);
  AddList(app, options);
  AddVolume(app, options);
  AddSilence(app, options);
  AddLog(app, options);
  AddDoctor(app, options);
}

}  // namespace zevra::command
