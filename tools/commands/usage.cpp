// Unknown words and their likely meaning.
#include "tools/commands/usage.h"

#include <algorithm>

#include "tools/support/nearest.h"

namespace qrx::tool {
namespace {

Words commandNames(const CLI::App& app) {
  Words names;
  for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
  return names;
}

// All of them, with their dashes.
Words optionNames(const CLI::App& command) {
  Words names;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    for (const std::string& name : option->get_snames()) names.push_back("-" + name);
  }
  return names;
}

std::string meant(const std::string& nearest, const std::string& otherwise) {
  return nearest.empty() ? otherwise : "did you mean " + nearest + "?";
}

bool contains(const Words& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

// The first option that the command does not have. Long options after a single dash, as other
// programs take them, are none of ours.
std::string unknownOption(const CLI::App& command, const Words& words, std::string& nearest) {
  const Words known = optionNames(command);
  for (const std::string& word : words) {
    if (word == "--") break;
    std::string name = word.substr(0, word.find('='));
    if (name.size() < 2 || name[0] != '-') continue;
    const bool isLong = name[1] == '-';
    if (!isLong && contains(known, "-" + name)) {
      nearest = "-" + name;
      return name;
    }
    if (contains(known, isLong ? name : name.substr(0, 2))) continue;
    nearest = nearestWord(isLong ? name : "-" + name, known);
    return name;
  }
  return {};
}

// The parser names the kind of value at length; --help has it.
std::string reason(const CLI::App& command, const CLI::ParseError& error) {
  std::string text = error.what();
  std::replace(text.begin(), text.end(), '\n', ' ');
  const std::string required = " is required";
  if (text.ends_with(required)) {
    return "no " + text.substr(0, text.size() - required.size()) + " is given";
  }
  const Words unexpected = command.remaining();
  if (!unexpected.empty()) return unexpected.front() + " is one argument too many";
  const std::size_t missing = text.find(": 1 required ");
  if (missing != std::string::npos && text.ends_with(" missing")) {
    text.replace(missing, std::string::npos, " needs a value");
  }
  return text;
}

}  // namespace

bool asksForJson(const Words& words) {
  const auto end = std::find(words.begin(), words.end(), "--");
  return std::find(words.begin(), end, "--json") != end;
}

std::string wrongCommand(const CLI::App& app, const Words& words) {
  constexpr char kList[] = "qrx-jpeg --help lists the commands";
  if (words.empty()) return std::string("no command is given: ") + kList;
  const Words names = commandNames(app);
  const std::string& word = words.front();
  if (contains(names, word)) return {};
  if (word[0] == '-') {
    const auto command = std::find_first_of(words.begin(), words.end(), names.begin(), names.end());
    if (command == words.end() || contains(optionNames(app), word)) return {};
    return word + ": options follow their command: put it behind " + *command;
  }
  return word + ": there is no such command: " + meant(nearestWord(word, names), kList);
}

std::string wrongUsage(const CLI::App& app, const Words& words, const CLI::ParseError& error) {
  const CLI::App* command = app.get_subcommands().empty() ? &app : app.get_subcommands().front();
  const bool top = command == &app;
  const std::string prefix = top ? "" : command->get_name() + ": ";
  const std::string help = top ? "see qrx-jpeg --help" : "see qrx-jpeg help " + command->get_name();
  std::string nearest;
  const std::string option = unknownOption(*command, words, nearest);
  if (!option.empty()) {
    return prefix + "there is no option " + option + ": " + meant(nearest, help);
  }
  return prefix + reason(*command, error) + ": " + help;
}

}  // namespace qrx::tool
