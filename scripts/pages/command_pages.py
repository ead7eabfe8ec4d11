"""Makes the manual page and the shells' completions out of the command's own description.

    command_pages.py DESCRIPTION.json FOLDER
"""

import json
import pathlib
import re
import sys

HERE = pathlib.Path(__file__).parent

# What prints the names that go with a value. They have spaces, so the shells get one a line.
NAMES = {
    value: rf"""zevra list{option} --json 2>/dev/null | sed -n 's/^ *"name": "\(.*\)",$/\1/p'"""
    for value, option in (("NAME", ""), ("APPLICATION", " --apps"))
}


def choices(option):
    return option["value"].split("|") if "|" in option["value"] else []


def is_flag(option):
    return not option["value"] or "without" in option


def options_of(command):
    return [option for option in command["options"] if option["names"]]


def arguments_of(command):
    return [option for option in command["options"] if option["positional"]]


# --- The manual page ------------------------------------------------------------------------------


def roff(text):
    """Text as roff shows it: hyphens that can be copied, no line that is taken for a request."""
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return re.sub(r"^([.'])", r"\\&\1", text, flags=re.M)


def heading(option):
    names = ", ".join(f"\\fB{roff(name)}\\fR" for name in option["names"])
    value = roff(option["value"])
    if "without" in option:
        return f"{names}[=\\fI{value or 'VALUE'}\\fR]"
    return f"{names} \\fI{value}\\fR" if value else names


def paragraph(option):
    text = option["text"]
    if "without" in option:
        text += f" Without a value it is {option['without']}."
    elif option["default"]:
        text += f" Without it {option['default']}."
    return roff(text)


def command_section(command):
    usage = "".join(f" \\fI{argument['positional']}\\fR" for argument in arguments_of(command))
    lines = [f".SS zevra {command['name']} [\\fIOPTIONS\\fR]{usage}", roff(command["text"])]
    for argument in arguments_of(command):
        lines += [".TP", f"\\fI{argument['positional']}\\fR", roff(argument["text"])]
    for option in options_of(command):
        if "--help" not in option["names"]:
            lines += [".TP", heading(option), paragraph(option)]
    return lines


def manual(app):
    lines = [f'.TH ZEVRA 1 "" "zevra {app["version"]}" "User Commands"']
    text = app["text"][0].lower() + app["text"][1:].rstrip(".")
    lines += [".SH NAME", f"zevra \\- {roff(text)}", ".SH SYNOPSIS"]
    lines += [".B zevra", "\\fICOMMAND\\fR [\\fIOPTIONS\\fR]", ".br"]
    lines += [".B zevra", "[\\fICOMMAND\\fR] \\fB\\-\\-help\\fR", ".SH COMMANDS"]
    examples = []
    for command in app["commands"]:
        lines += command_section(command)
        examples += command["footer"].splitlines()[1:]
    lines += [".SH OPTIONS"]
    for option in options_of(app):
        lines += [".TP", heading(option), paragraph(option)]
    lines += [(HERE / "zevra.1.in").read_text().rstrip(), ".SH EXAMPLES", ".nf"]
    lines += [roff(example.strip()) for example in examples] + [".fi"]
    return "\n".join(lines) + "\n"


# --- Completions ----------------------------------------------------------------------------------


def quoted(text):
    return "'" + text.replace("'", "'\\''") + "'"


def summary(text):
    """The first sentence, which a shell shows beside a word."""
    return re.split(r"(?<=[^A-Z])[.;](?:\s|$)", text)[0]


def bash(app):
    cases = []
    words = " ".join(command["name"] for command in app["commands"])
    globals_ = " ".join(name for option in options_of(app) for name in option["names"])
    for command in app["commands"]:
        name, options = command["name"], options_of(command)
        all_names = " ".join(word for option in options for word in option["names"])
        cases.append(f"    {name})\n      options={quoted(all_names)}\n      case $previous in")
        for option in options:
            if is_flag(option):
                continue
            if choices(option):
                action = f"COMPREPLY=($(compgen -W {quoted(' '.join(choices(option)))} -- \"$word\"))"
            elif option["value"] in NAMES:
                action = f'_zevra_names "$word" < <({NAMES[option["value"]]})'
            elif option["value"] == "PATH":
                action = 'compopt -o filenames; COMPREPLY=($(compgen -f -- "$word"))'
            else:
                action = ":"
            cases.append(f"        {'|'.join(option['names'])}) {action}; return ;;")
        cases.append("      esac")
        if arguments_of(command):
            cases.append("      files=1")
        cases.append("      ;;")
    body = "\n".join(cases)
    return f"""# bash completion for zevra
_zevra_names() {{
  local name IFS=$'\\n'
  while IFS= read -r name; do
    [[ $name == "$1"* || $(printf %q "$name") == "$1"* ]] && COMPREPLY+=("$(printf %q "$name")")
  done
}}

_zevra() {{
  local word=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}}
  local command=${{COMP_WORDS[1]}} options='' files=''
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    COMPREPLY=($(compgen -W {quoted(words + ' ' + globals_)} -- "$word"))
    return
  fi
  case $command in
{body}
  esac
  if [[ $word == -?* ]]; then
    COMPREPLY=($(compgen -W "$options" -- "$word"))
  elif [[ $files ]]; then
    compopt -o filenames
    COMPREPLY=($(compgen -f -- "$word"))
  fi
}}
complete -F _zevra zevra
"""


def zsh_text(text):
    return re.sub(r"([\[\]:\\])", r"\\\1", text)


def zsh_value(option):
    if is_flag(option):
        return ""
    value = option["value"]
    if choices(option):
        return f":value:({' '.join(choices(option))})"
    files = "_files" if value == "PATH" else " "
    return f":{value.lower()}:" + (f"_zevra_{value.lower()}" if value in NAMES else files)


def zsh_option(option):
    names = option["names"]
    excluded = f"({' '.join(names)})"
    text = f"[{zsh_text(summary(option['text']))}]{zsh_value(option)}"
    spelled = "{" + ",".join(names) + "}" if len(names) > 1 else names[0]
    return f"{quoted(excluded)}{spelled}{quoted(text)}"


def zsh(app):
    lines = ["#compdef zevra"]
    for value, names in NAMES.items():
        lines += [f"_zevra_{value.lower()}() {{", "  local -a names"]
        lines += [f'  names=("${{(@f)$({names})}}")', "  compadd -a names", "}"]
    lines += ["_zevra() {", "  local -a commands=("]
    for command in app["commands"]:
        lines.append("    " + quoted(f"{command['name']}:{zsh_text(summary(command['text']))}"))
    lines += ["  )", "  if ((CURRENT == 2)); then", "    _describe command commands"]
    lines += [f"    _arguments {' '.join(zsh_option(option) for option in options_of(app))}"]
    lines += ["    return", "  fi", "  local command=$words[2]", "  shift words", "  ((CURRENT--))"]
    lines += ["  case $command in"]
    for command in app["commands"]:
        parts = [zsh_option(option) for option in options_of(command)]
        parts += [quoted(f":{argument['positional'].lower()}:_files") for argument in arguments_of(command)]
        lines.append(f"    {command['name']}) _arguments -s " + " \\\n      ".join(parts) + " ;;")
    lines += ["  esac", "}", '_zevra "$@"']
    return "\n".join(lines) + "\n"


def fish_option(command, option):
    line = f"complete -c zevra -n {quoted(command)}"
    for name in option["names"]:
        line += f" -l {name[2:]}" if name.startswith("--") else f" -s {name[1:]}"
    if choices(option):
        line += f" -x -a {quoted(' '.join(choices(option)))}"
    elif not is_flag(option):
        names = NAMES.get(option["value"])
        files = " -r -F" if option["value"] == "PATH" else " -x"
        line += f" -x -a {quoted('(' + names + ')')}" if names else files
    return f"{line} -d {quoted(summary(option['text']))}"


def fish(app):
    lines = ["complete -c zevra -f"]
    lines += [fish_option("__fish_use_subcommand", option) for option in options_of(app)]
    for command in app["commands"]:
        lines.append(
            f"complete -c zevra -n __fish_use_subcommand -a {command['name']}"
            f" -d {quoted(summary(command['text']))}"
        )
        seen = f"__fish_seen_subcommand_from {command['name']}"
        lines += [fish_option(seen, option) for option in options_of(command)]
        if arguments_of(command):
            lines.append(f"complete -c zevra -n {quoted(seen)} -F")
    return "\n".join(lines) + "\n"


def main(description, folder):
    app = json.loads(pathlib.Path(description).read_text())
    out = pathlib.Path(folder)
    out.mkdir(parents=True, exist_ok=True)
    makers = {"zevra.1": manual, "zevra.bash": bash, "_zevra": zsh, "zevra.fish": fish}
    for name, make in makers.items():
        (out / name).write_text(make(app))


main(*sys.argv[1:])
