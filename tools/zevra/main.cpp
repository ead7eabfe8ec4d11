#include <CLI/CLI.hpp>
#include <clocale>
#include <cstdio>
#include <exception>
#include <string>

#include "tools/zevra/options.h"
#include "tools/zevra/terminal.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

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
    case Options::Command::kLog:
      return Log(options);
    case Options::Command::kNone:
      return;
  }
}

int Complain(const std::string& line, int exit_code) {
  std::fprintf(stderr, "zevra: %s\n", line.c_str());
  return exit_code;
}

int Main(int argc, char** argv) {
  // Characters as the user's terminal has them, numbers as everywhere.
  std::setlocale(LC_CTYPE, "");  // NOLINT(concurrency-mt-unsafe): there is one thread yet
  CatchSignals();
  Options options;
  CLI::App app;
  Describe(app, options);
  try {
    app.parse(argc, argv);
    if (options.command == Options::Command::kNone) throw CLI::RequiredError("A command");
  } catch (const CLI::Success& wish) {
    return app.exit(wish);
  } catch (const CLI::Error& error) {
    const auto commands = app.get_subcommands();
    const std::string path = commands.empty() ? "zevra" : "zevra " + commands[0]->get_name();
    return Complain(std::string(error.what()) + "; see " + path + " --help", kExitBadArguments);
  }
  try {
    Run(options);
  } catch (const BadArgument& failure) {
    return Complain(failure.what(), kExitBadArguments);
  } catch (const std::exception& failure) {
    return Complain(failure.what(), kExitFailed);
  }
  return kExitOk;
}

}  // namespace
}  // namespace zevra::command

int main(int argc, char** argv) {
  try {
    return zevra::command::Main(argc, argv);
  } catch (...) {
    return zevra::command::kExitFailed;
  }
}
