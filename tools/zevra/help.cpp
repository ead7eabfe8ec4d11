#include "tools/zevra/help.h"

#include <CLI/CLI.hpp>
#include <sstream>
#include <vector>

namespace zevra::command {
namespace {

constexpr std::size_t kLineLength = 79;
constexpr std::size_t kTextIndent = 8;

// An option as the reader writes it: "-d, --device NAME".
std::string Spelling(const CLI::Option& option) {
  if (option.get_positional()) return option.get_name();
  std::string out;
  for (const std::string& name : option.get_snames()) out += (out.empty() ? "-" : ", -") + name;
  for (const std::string& name : option.get_lnames()) out += (out.empty() ? "--" : ", --") + name;
  if (option.get_items_expected_max() > 0) out += " " + option.get_type_name();
  return out;
}

std::string Explanation(const CLI::Option& option) {
  const std::string& standard = option.get_default_str();
  if (standard.empty()) return option.get_description();
  return option.get_description() + " Default: " + standard + ".";
}

// Without its full stop.
std::string FirstSentence(const std::string& text) {
  const std::size_t end = text.find(". ");
  return text.substr(0, end == std::string::npos ? text.size() - 1 : end);
}

std::string Usage(const CLI::App& app, const std::string& path) {
  std::string out = path + " [OPTIONS]";
  for (const CLI::Option* option : app.get_options())
    if (option->get_positional()) out += " " + option->get_name();
  return app.get_subcommands({}).empty() ? out : path + " COMMAND [OPTIONS]";
}

std::string Wrapped(const std::string& text, std::size_t indent) {
  std::istringstream words(text);
  std::string out;
  std::string line(indent, ' ');
  std::string word;
  while (words >> word) {
    const bool begins = line.size() == indent;
    if (!begins && line.size() + 1 + word.size() > kLineLength) {
      out += line + "\n";
      line.assign(indent, ' ');
      line += word;
    } else {
      line += (begins ? "" : " ") + word;
    }
  }
  return out + line + "\n";
}

std::string Indented(const std::string& text, std::size_t indent) {
  std::istringstream lines(text);
  std::string out;
  std::string line;
  while (std::getline(lines, line)) out += std::string(indent, ' ') + line + "\n";
  return out;
}

std::vector<const CLI::Option*> Options(const CLI::App& app, bool positional) {
  return app.get_options(
      [positional](const CLI::Option* option) { return option->get_positional() == positional; });
}

// Dots and apostrophes at the start of a line are orders in roff, dashes are not what they seem.
std::string Roff(const std::string& text) {
  std::string out;
  for (const char character : text)
    if (character == '\\')
      out += "\\e";
    else if (character == '-')
      out += "\\-";
    else if ((character == '.' || character == '\'') && (out.empty() || out.back() == '\n'))
      out += std::string("\\&") + character;
    else
      out += character;
  return out;
}

void AppendItem(std::string& page, const std::string& what, const std::string& text) {
  page += ".TP\n\\fB" + Roff(what) + "\\fR\n" + Roff(text) + "\n";
}

void AppendCommand(std::string& page, const CLI::App& command, const std::string& path) {
  page += ".SS " + Roff(Usage(command, path)) + "\n" + Roff(command.get_description()) + "\n";
  for (const bool positional : {true, false}) {
    for (const CLI::Option* option : Options(command, positional))
      if (option != command.get_help_ptr())
        AppendItem(page, Spelling(*option), Explanation(*option));
  }
  if (command.get_footer().empty()) return;
  page += ".PP\nExamples:\n.PP\n.nf\n.RS\n" + Roff(command.get_footer()) + "\n.RE\n.fi\n";
}

}  // namespace

std::string HelpText(const CLI::App& app, const std::string& path) {
  const bool whole = !app.get_subcommands({}).empty();
  std::string out = "Usage: " + Usage(app, path) + "\n\n" + Wrapped(app.get_description(), 0);
  if (whole) out += "\nCommands:\n";
  for (const CLI::App* command : app.get_subcommands({})) {
    std::string name = "  " + command->get_name();
    name.resize(kTextIndent + 3, ' ');
    // Wrapped behind the name, which takes the place of the first line's indent.
    out +=
        name + Wrapped(FirstSentence(command->get_description()), name.size()).substr(name.size());
  }
  for (const bool positional : {true, false}) {
    const auto options = Options(app, positional);
    if (!options.empty()) out += positional ? "\nArguments:\n" : "\nOptions:\n";
    for (const CLI::Option* option : options)
      out += "  " + Spelling(*option) + "\n" + Wrapped(Explanation(*option), kTextIndent);
  }
  if (app.get_footer().empty()) return out;
  return out + (whole ? "\nExit status:\n" : "\nExamples:\n") + Indented(app.get_footer(), 2);
}

std::string ManualPage(const CLI::App& app, const std::string& version) {
  std::string page = ".TH ZEVRA 1 \"\" \"zevra " + version + "\" \"User Commands\"\n";
  page += ".SH NAME\nzevra \\- " + Roff(FirstSentence(app.get_description())) + "\n";
  page += ".SH SYNOPSIS\n\\fBzevra\\fR COMMAND [OPTIONS]\n";
  page += ".SH DESCRIPTION\n" + Roff(app.get_description()) + "\n";
  page += ".SH COMMANDS\n";
  for (const CLI::App* command : app.get_subcommands({}))
    AppendCommand(page, *command, app.get_name() + " " + command->get_name());
  page += ".SH OPTIONS\n";
  for (const CLI::Option* option : Options(app, false))
    AppendItem(page, Spelling(*option), Explanation(*option));
  page += ".SH EXIT STATUS\n.nf\n" + Roff(app.get_footer()) + "\n.fi\n";
  return page;
}

}  // namespace zevra::command
