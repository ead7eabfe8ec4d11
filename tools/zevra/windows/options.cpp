#include "tools/zevra/options.h"

#include "tools/zevra/common_options.h"

namespace zevra::command {
namespace {

void AddDevice(CLI::App& command, Options& options) {
  AddName(command, options,
          "The endpoint, by its whole name as in 'zevra list'; upper and lower case are the same. "
          "Without it the default endpoint.");
}

void AddCapture(CLI::App& command, Options& options) {
  AddDevice(command, options);
  AddFlow(command, options);
  AddSeconds(command, options);
  AddLayout(command, options);
  AddKeepAlive(command, options);
}

void AddRecord(CLI::App& app, Options& options) {
  CLI::App& command =
      AddCommand(app, options, Record, "record",
                 "Record what an endpoint plays, or what a capture endpoint records, into a WAV "
                 "file. The file keeps the clock: silence takes the place of what is lost, and the "
                 "exit status is 1.");
  command
      .add_option("FILE", options.file,
                  "Where to: a name that ends in .wav, which is overwritten, or - for standard "
                  "output. Fields like %Y-%m-%d or %H.%M stand for the time of its start.")
      ->type_name("")
      ->required();
  AddSamples(command, options, "");
  AddCapture(command, options);
  AddQuiet(command, options);
  command.footer(
      "Examples:\n  zevra record --seconds 10 tune.wav\n"
      "  zevra record --rate 16000 --channels 1 speech.wav");
}

}  // namespace

void Describe(CLI::App& app, Options& options) {
  DescribeProgram(app);
  // A word that begins with a slash may be a path.
  app.allow_windows_style_options(false);
  AddRecord(app, options);
  CLI::App& meter =
      AddCommand(app, options, Meter, "meter",
                 "Show the level of each channel until Ctrl-C, in decibels of full scale.");
  AddCapture(meter, options);
  meter.add_flag("--spectrum", options.spectrum,
                 "Also show how loud each octave from 31 Hz to 16 kHz is, over all channels.");
  CLI::App& list = AddCommand(app, options, List, "list",
                              "List the active endpoints: name, flow, whether it is the default of "
                              "its flow, and volume.");
  list.add_flag("--json", options.json,
                "Print a JSON array instead, of objects with name, flow, default and volume (0 to "
                "1, or null where it cannot be had).");
  CLI::App& volume = AddCommand(app, options, Volume, "volume",
                                "Print an endpoint's volume on the scale of the system's mixer.");
  AddDevice(volume, options);
  AddFlow(volume, options);
  CLI::App& silence =
      AddCommand(app, options, Silence, "silence",
                 "Play silence on a render endpoint, which keeps it from falling asleep.");
  AddDevice(silence, options);
  AddSeconds(silence, options);
  AddQuiet(silence, options);
}

}  // namespace zevra::command
