// Runs at build time: writes the command's manual page to standard output.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "tools/zevra/help.h"
#include "tools/zevra/options.h"
#include "zevra_version.h"

int main() {
  try {
    zevra::command::Options options;
    CLI::App app;
    zevra::command::Describe(app, options);
    const std::string page = zevra::command::ManualPage(app, ZEVRA_VERSION_STRING);
    return std::fputs(page.c_str(), stdout) < 0;
  } catch (...) {
    return 1;
  }
}
