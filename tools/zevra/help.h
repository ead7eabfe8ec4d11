#ifndef ZEVRA_TOOLS_ZEVRA_HELP_H
#define ZEVRA_TOOLS_ZEVRA_HELP_H

#include <string>

namespace CLI {
class App;
}

namespace zevra::command {

// What --help prints: `app` is the program or one of its commands, `path` how a user calls it.
std::string HelpText(const CLI::App& app, const std::string& path);

// The manual page of the program with all its commands, as roff source; the same texts.
std::string ManualPage(const CLI::App& app, const std::string& version);

}  // namespace zevra::command

#endif
