// Runs at build time: writes the command's manual page to standard output.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "tools/zevra/help.h"
#include "tools/zevra/options.h"
#include "zevra_version.h"

int main() {
  zevra::command::Options options;
  CLI::App app;
  zevra::command::Describe(app, options);
  return std::fputs(zevra::command::ManualPage(app, ZEVRA_VERSION_STRING).c_str(), stdout) < 0;
}
