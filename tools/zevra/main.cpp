#include <CLI/CLI.hpp>
#include <algorithm>
#include <clocale>
#include <cstdio>
#include <exception>
#include <nlohmann/json.hpp>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "tools/zevra/options.h"
#include "tools/zevra/own_log.h"
#include "tools/zevra/terminal.h"
#include "tools/zevra/text.h"

namespace zevra::command {
namespace {

// How many letters must change to turn one word into the other.
std::size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t change = diagonal + (a[i] == b[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({change, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

// "no WHAT 'word'", and which of the known ones may have been meant.
std::string Unknown(const std::string& what, const std::string& word,
                    const std::vector<std::string>& known) {
  const std::string* best = nullptr;
  std::size_t least = std::min<std::size_t>(word.size() / 3, 2) + 1;  // typing errors
  for (const std::string& name : known) {
    const std::size_t distance = name.starts_with(word) ? 0 : Distance(name, word);
    if (distance >= least) continue;
    least = distance;
    best = &name;
  }
  const std::string text = "no " + what + " '" + word + "'";
  return best == nullptr ? text : text + "; did you mean '" + *best + "'?";
}

// What is wrong with the command line, in words of this program where it knows better.
std::string Explain(const CLI::App& app, const CLI::Error& error) {
  const auto commands = app.get_subcommands();
  const CLI::App& place = commands.empty() ? app : *commands[0];
  std::string text = error.what();
  const std::vector<std::string> words = app.remaining(true);
  if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError) && !words.empty()) {
    const auto word = std::find_if(words.begin(), words.end(),
                                   [](const std::string& one) { return one.starts_with("--"); });
    std::vector<std::string> known;
    if (word != words.end()) {
      for (const CLI::Option* option : place.get_options())
        for (const std::string& name : option->get_lnames()) known.push_back("--" + name);
      text = Unknown("option", *word, known);
    } else if (commands.empty()) {
      for (const CLI::App* command : app.get_subcommands({})) known.push_back(command->get_name());
      text = Unknown("command", words[0], known);
    }
  }
  return text + "; see zevra " + (commands.empty() ? "" : place.get_name() + " ") + "--help";
}

bool IsReadByPrograms(const Options& options) { return options.json && options.run == Record; }

// Puts a line on standard error, where programs get events.
void Tell(const char* event, const std::string& line, bool to_program) {
  using Json = nlohmann::ordered_json;
  const Json json = {{"event", event}, {"time", TimeStamp()}, {"message", line}};
  const std::string text =
      to_program ? json.dump(-1, ' ', false, Json::error_handler_t::replace) : line;
  std::fprintf(stderr, "%s\n", text.c_str());
}

int Complain(const std::string& line, int exit_code, bool to_program = false) {
  Tell("error", to_program ? line : "zevra: " + line, to_program);
  return exit_code;
}

// Waits for the end, so that no line falls into a picture.
void ShowFailures(const Options& options) {
  if (!options.verbose) return;
  for (const std::string& line : OwnFailures()) Tell("log", line, IsReadByPrograms(options));
}

int Main(int argc, char** argv) {
  // Characters as the user's terminal has them, numbers as everywhere.
  std::setlocale(LC_CTYPE, "");  // NOLINT(concurrency-mt-unsafe): there is one thread yet
  FillStandardDescriptors();
  IgnoreWriteSignals();
  Options options;
  CLI::App app;
  Describe(app, options);
  try {
    try {
      app.parse(argc, argv);
      if (options.run == nullptr) throw CLI::RequiredError("A command");
      options.run(options);
    } catch (const CLI::Success& wish) {
      app.exit(wish);
    } catch (const CLI::Error& error) {
      return Complain(Explain(app, error), kExitBadArguments);
    }
    ShowFailures(options);
    FinishStandardOutput();
  } catch (const BadArgument& failure) {
    return Complain(failure.what(), kExitBadArguments, IsReadByPrograms(options));
  } catch (const std::exception& failure) {
    ShowFailures(options);
    return Complain(failure.what(), kExitFailed, IsReadByPrograms(options));
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
