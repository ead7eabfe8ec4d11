#include <windows.h>

#include <shellapi.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "tools/zevra/options.h"
#include "tools/zevra/terminal.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

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
  Describe(app, options);
  try {
    app.parse(Arguments());
    if (options.run == nullptr) throw CLI::RequiredError("A command");
    options.run(options);
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
