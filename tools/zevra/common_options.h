#ifndef ZEVRA_TOOLS_ZEVRA_COMMON_OPTIONS_H
#define ZEVRA_TOOLS_ZEVRA_COMMON_OPTIONS_H

// What the command lines of both systems have: each function adds one option, or what belongs
// together, and lets CLI11 write into `options`, which must outlive the parsing.

#include <CLI/CLI.hpp>
#include <string>

#include "tools/zevra/options.h"

namespace zevra::command {

inline constexpr double kLongestSeconds = 31'536'000;  // a year

// The program's name, version and exit codes. Commands that are added later take its labels over.
void DescribeProgram(CLI::App& app);
CLI::App& AddCommand(CLI::App& app, Options& options, void (*run)(const Options&),
                     const std::string& name, const std::string& description);

// --device
void AddName(CLI::App& command, Options& options, const std::string& description);
void AddFlow(CLI::App& command, Options& options);
void AddSeconds(CLI::App& command, Options& options);
// --rate and --channels
void AddLayout(CLI::App& command, Options& options);
// --format and --container; `remark` ends the description of the first.
void AddSamples(CLI::App& command, Options& options, const std::string& remark);
void AddKeepAlive(CLI::App& command, Options& options);
void AddQuiet(CLI::App& command, Options& options);

}  // namespace zevra::command

#endif
