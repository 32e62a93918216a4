// Completion scripts, written from the options.
#include <algorithm>

#include "tools/commands/manual.h"

namespace qrx::tool {
namespace {

std::vector<const CLI::App*> commandsOf(const CLI::App& app) {
  const auto commands = app.get_subcommands({});
  return {commands.begin(), commands.end()};
}

// What a shell shows beside an option: its first sentence, without signs that shells take up.
std::string shortText(const std::string& text) {
  std::string line = text.substr(0, std::min({text.find('\n'), text.find(". "), text.find("; ")}));
  std::erase_if(line, [](char c) { return c == '\'' || c == '[' || c == ']' || c == '\\'; });
  std::replace(line.begin(), line.end(), ':', ',');
  return line;
}

bool takesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

std::string forBash(const CLI::App& app) {
  std::string commands, cases;
  for (const CLI::App* command : app.get_subcommands({})) {
    commands += " " + command->get_name();
    cases += "    " + command->get_name() + ") words='";
    for (const CLI::Option* option : command->get_options()) {
      for (const std::string& name : option->get_lnames()) cases += " --" + name;
      for (const std::string& name : option->get_snames()) cases += " -" + name;
    }
    cases += "' ;;\n";
  }
  return "# bash completion of qrx-jpeg: source it.\n"
         "_qrx_jpeg() {\n"
         "  local current=${COMP_WORDS[COMP_CWORD]} commands='" +
         commands +
         "' words=''\n"
         "  case ${COMP_WORDS[1]} in\n" +
         cases +
         "  esac\n"
         "  if [ \"$COMP_CWORD\" -eq 1 ] || [ \"${COMP_WORDS[1]}\" = help ]; then\n"
         "    mapfile -t COMPREPLY < <(compgen -W \"$commands --help --version\" -- \"$current\")\n"
         "  elif [[ $current == -* ]]; then\n"
         "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
         "  else\n"
         "    mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
         "  fi\n"
         "}\n"
         "complete -o filenames -F _qrx_jpeg qrx-jpeg\n";
}

// Names are followed by their descriptions: 'NAME:TEXT'.
std::string forZsh(const CLI::App& app) {
  std::string commands, cases;
  for (const CLI::App* command : commandsOf(app)) {
    commands += "    '" + command->get_name() + ":" + shortText(command->get_description()) + "'\n";
    cases += "    " + command->get_name() + ")\n      options=(\n";
    for (const CLI::Option* option : command->get_options()) {
      const std::string text = ":" + shortText(option->get_description()) + "'\n";
      for (const std::string& name : option->get_lnames()) {
        cases.append("        '--").append(name).append(text);
      }
      for (const std::string& name : option->get_snames()) {
        cases.append("        '-").append(name).append(text);
      }
    }
    cases += "      )\n      ;;\n";
  }
  return "#compdef qrx-jpeg\n"
         "# zsh completion of qrx-jpeg: put it as _qrx-jpeg into a folder of $fpath.\n"
         "local -a commands options\n"
         "commands=(\n" +
         commands +
         ")\n"
         "case $words[2] in\n" +
         cases +
         "esac\n"
         "if (( CURRENT == 2 )) || [[ $words[2] == help && $words[CURRENT] != -* ]]; then\n"
         "  _describe command commands\n"
         "elif [[ $words[CURRENT] == -* ]]; then\n"
         "  _describe -o option options\n"
         "else\n"
         "  _files\n"
         "fi\n";
}

std::string forFish(const CLI::App& app) {
  std::string script = "# fish completion of qrx-jpeg: put it into ~/.config/fish/completions.\n";
  std::string names;
  for (const CLI::App* command : commandsOf(app)) {
    const std::string& name = command->get_name();
    names += (names.empty() ? "" : " ") + name;
    script += "complete -c qrx-jpeg -n __fish_use_subcommand -f -a " + name + " -d '" +
              shortText(command->get_description()) + "'\n";
    for (const CLI::Option* option : command->get_options()) {
      if (option->get_positional()) continue;
      script += "complete -c qrx-jpeg -n '__fish_seen_subcommand_from " + name + "'";
      for (const std::string& word : option->get_lnames()) script += " -l " + word;
      for (const std::string& letter : option->get_snames()) script += " -s " + letter;
      script += std::string(takesValue(*option) ? " -r" : "") + " -d '" +
                shortText(option->get_description()) + "'\n";
    }
  }
  return script + "complete -c qrx-jpeg -n '__fish_seen_subcommand_from help' -f -a '" + names +
         "'\n";
}

}  // namespace

std::string completion(const CLI::App& app, const std::string& shell) {
  return shell == "zsh" ? forZsh(app) : shell == "fish" ? forFish(app) : forBash(app);
}

}  // namespace qrx::tool
