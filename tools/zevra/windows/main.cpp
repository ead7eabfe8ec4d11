#include <windows.h>

#include <shellapi.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zevra/options.h"
#include "tools/zevra/terminal.h"
#include "tools/zevra/text.h"
#include "tools/zevra/writer.h"

namespace zevra::command {
namespace {

// What of the command line there is on Windows.
constexpr std::string_view kCommands[] = {"record", "meter", "list", "volume", "silence"};
constexpr std::string_view kOptions[] = {
    "help", "format",   "container",     "split", "device", "flow", "seconds",
    "rate", "channels", "no-keep-alive", "json",  "quiet",  "FILE"};

template <class List>
bool Has(const List& list, const std::string& name) {
  return std::find(std::begin(list), std::end(list), name) != std::end(list);
}

void RemoveOptions(CLI::App& command, bool json) {
  for (CLI::Option* option : command.get_options()) {
    const std::string name =
        option->get_lnames().empty() ? option->get_name(true) : option->get_lnames().front();
    if (name == "FILE")
      option->description(
          "Where to: a name that ends in .wav, which is overwritten, or - for "
          "standard output. Fields like %Y-%m-%d or %H.%M stand for the time of "
          "its start.");
    if (!Has(kOptions, name) || (name == "json" && !json)) command.remove_option(option);
  }
}

void DescribeHere(CLI::App& app, Options& options) {
  Describe(app, options);
  for (CLI::App* command : app.get_subcommands({})) {
    const std::string name = command->get_name();
    if (!Has(kCommands, name)) {
      app.remove_subcommand(command);
      continue;
    }
    RemoveOptions(*command, name == "list");
    if (name == "record")
      command->footer(
          "Examples:\n  zevra record --seconds 10 tune.wav\n"
          "  zevra record --rate 16000 --channels 1 speech.wav");
  }
}

void Run(const Options& options) {
  switch (options.command) {
    case Options::Command::kRecord:
      return Record(options);
    case Options::Command::kMeter:
      return Meter(options);
    case Options::Command::kList:
      return List(options);
    case Options::Command::kVolume:
      return Volume(options);
    case Options::Command::kSilence:
      return Silence(options);
    default:
      throw CLI::RequiredError("A command");
  }
}

// The last one first, as the parser takes them, and without the program's name.
std::vector<std::string> Arguments() {
  int count = 0;
  wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = count - 1; i > 0; --i) arguments.push_back(ToUtf8(words[i]));
  LocalFree(words);
  return arguments;
}

int Complain(const std::string& line, int exit_code) {
  std::fprintf(stderr, "zevra: %s\n", line.c_str());
  return exit_code;
}

int Main() {
  Options options;
  CLI::App app;
  // A word that begins with a slash may be a path.
  app.allow_windows_style_options(false);
  DescribeHere(app, options);
  try {
    app.parse(Arguments());
    Run(options);
    FinishStandardOutput();
  } catch (const CLI::Success& wish) {
    app.exit(wish);
  } catch (const CLI::Error& error) {
    return Complain(std::string(error.what()) + "; see zevra --help", kExitBadArguments);
  } catch (const BadArgument& failure) {
    return Complain(failure.what(), kExitBadArguments);
  } catch (const std::exception& failure) {
    return Complain(failure.what(), kExitFailed);
  }
  return kExitOk;
}

}  // namespace
}  // namespace zevra::command

int main() {
  // The console shows UTF-8 meanwhile.
  const UINT before = GetConsoleOutputCP();
  SetConsoleOutputCP(CP_UTF8);
  int exit_code = zevra::command::kExitFailed;
  try {
    exit_code = zevra::command::Main();
  } catch (...) {
    exit_code = zevra::command::kExitFailed;
  }
  SetConsoleOutputCP(before);
  return exit_code;
}
