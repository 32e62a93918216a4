// The man page, written from the options.
#include "tools/commands/manual.h"

namespace qrx::tool {
namespace {

// Text in which roff finds no request and no escape.
std::string roff(const std::string& text) {
  std::string result;
  bool lineStart = true;
  for (const char c : text) {
    if (lineStart && (c == '.' || c == '\'')) result += "\\&";
    if (c == '\\') {
      result += "\\e";
    } else if (c == '-') {
      result += "\\-";
    } else {
      result += c;
    }
    lineStart = c == '\n';
  }
  return result;
}

// Without what the checks add to it.
std::string valueOf(const CLI::Option& option) {
  std::string name = option.get_type_name();
  for (const char* check : {":INT ", ":FLOAT ", ":UINT "}) {
    const std::size_t at = name.find(check);
    if (at != std::string::npos) name.resize(at);
  }
  return name;
}

std::string optionEntry(const CLI::Option& option) {
  std::string entry = ".TP\n";
  if (option.get_positional()) {
    const bool many = option.get_items_expected_max() > 1;
    entry += "\\fI" + roff(option.get_name(true)) + "\\fR" + (many ? "..." : "");
  } else {
    entry += "\\fB" + roff(option.get_name(false, true)) + "\\fR";
  }
  const bool takesValue = option.get_items_expected_max() > 0;
  const std::string value = takesValue ? valueOf(option) : "";
  if (!value.empty() && value != "TEXT") entry += " \\fI" + roff(value) + "\\fR";
  entry += "\n" + roff(option.get_description());
  if (takesValue && !option.get_default_str().empty()) {
    entry += " (default: " + roff(option.get_default_str()) + ")";
  }
  return entry + "\n";
}

std::string commandSection(const CLI::App& command) {
  std::string section =
      ".SS " + roff(command.get_name()) + "\n" + roff(command.get_description()) + ".\n";
  for (const CLI::Option* option : command.get_options()) {
    if (option->get_name() != "--help" && option->get_name() != "--version") {
      section += optionEntry(*option);
    }
  }
  // The conventions at the footer's end are those of all commands, and have a section.
  const std::string footer = command.get_footer();
  const std::size_t end = footer.rfind("\n\n");
  const std::string details = end == std::string::npos ? "" : footer.substr(0, end);
  if (!details.empty()) section += ".PP\n" + roff(details) + "\n";
  return section;
}

}  // namespace

std::string manualPage(const CLI::App& app) {
  std::string page =
      ".TH QRX\\-JPEG 1\n.SH NAME\nqrx\\-jpeg \\- JPEG images and packets through "
      "libqrx_jpeg\n.SH SYNOPSIS\n\\fBqrx\\-jpeg\\fR \\fICOMMAND\\fR "
      "[\\fIOPTIONS\\fR] \\fIFILES\\fR\n.SH DESCRIPTION\n" +
      roff(app.get_description()) + "\n.SH OPTIONS\n";
  for (const CLI::Option* option : app.get_options()) page += optionEntry(*option);
  page += ".SH COMMANDS\n";
  for (const CLI::App* command : app.get_subcommands({})) page += commandSection(*command);
  return page + ".SH EXIT STATUS\n" + roff(app.get_footer()) + "\n";
}

}  // namespace qrx::tool
