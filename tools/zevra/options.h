#ifndef ZEVRA_TOOLS_ZEVRA_OPTIONS_H
#define ZEVRA_TOOLS_ZEVRA_OPTIONS_H

#include <optional>
#include <string>

#include "tools/zevra/sample_format.h"
#include "tools/zevra/writer.h"

namespace CLI {
class App;
}

namespace zevra::command {

enum class Flow { kRender, kCapture, kBoth };

// Which endpoint is meant.
struct EndpointChoice {
  // The endpoints inside the program instead of the machine's.
  bool builtin = false;
  // The default endpoint where there is none.
  std::optional<std::string> name;
  std::optional<Flow> flow;
  // `name` is that of an application's stream, no endpoint's.
  bool is_application = false;
};

struct Options {
  // The subcommand that was asked for, one of the functions below; null for none.
  void (*run)(const Options& options) = nullptr;
  EndpointChoice endpoint;
  AudioFormat format;
  std::optional<double> seconds;
  bool keep_alive = true;
  bool follow_default = false;
  // How long to wait for an endpoint that went away.
  double patience = 0;
  // The capture endpoint of a second track, by its name or "default".
  std::optional<std::string> microphone;
  bool separate = false;
  // Decibels of full scale: what is quieter is left out, or is not waited for any longer.
  std::optional<double> skip_silence;
  std::optional<double> start_on_sound;
  bool quiet = false;
  bool verbose = false;
  bool json = false;
  // What is listed are applications.
  bool apps = false;
  bool spectrum = false;
  // Where the recording goes; "-" for standard output.
  std::string file;
  Container container = Container::kByName;
  std::optional<double> split_seconds;
  // Whose log is meant; empty for the library that this program loads.
  std::string module_path;
};

// Declares the command line: parsing `app` fills `options`, which outlive it. The one source of the
// help texts and of the manual page.
void Describe(CLI::App& app, Options& options);

// BadArgument where two tracks do not go with the format or with where they should go.
void CheckTracks(const Options& options);

// One function for each subcommand. They return when the work is done or the user has ended it;
// Failure where it could not be done.
void Record(const Options& options);
void Meter(const Options& options);
void List(const Options& options);
void Volume(const Options& options);
void Silence(const Options& options);
void Log(const Options& options);
void Doctor(const Options& options);

}  // namespace zevra::command

#endif
