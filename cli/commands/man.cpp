#include <iostream>
#include <sstream>

#include "cli/commands/commands.h"
#include "cli/commands/help_texts.h"

namespace {

constexpr char kExample[] =
    "Example:\n"
    "  kestrix man | man -l -";

// `text` as troff prints it: a hyphen is a minus, and nothing is a request.
std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\\') {
      escaped += "\\e";
    } else if (c == '-') {
      escaped += "\\-";
    } else {
      escaped += c;
    }
  }
  return escaped.starts_with('.') || escaped.starts_with('\'') ? "\\&" + escaped : escaped;
}

void PrintOption(const CLI::Option& option, std::ostream& out) {
  std::string value = ValueNameOf(option);
  for (const std::string& choice : ChoicesOf(option))
    value += (value.find('=') == std::string::npos ? "=" : "|") + choice;
  out << ".TP\n\\fB" << Escaped(option.get_name(option.get_positional(), true)) << "\\fR";
  if (!option.get_positional() && !value.empty()) out << " \\fI" << Escaped(value) << "\\fR";
  out << '\n' << Escaped(option.get_description()) << '\n';
}

// Indented lines of a footer are examples, empty ones part paragraphs.
void PrintFooter(const std::string& footer, std::ostream& out) {
  std::istringstream lines(footer);
  for (std::string line; std::getline(lines, line);) {
    if (line.empty()) {
      out << ".PP\n";
    } else if (line.starts_with(' ')) {
      out << ".PP\n.RS\n.nf\n" << Escaped(line.substr(line.find_first_not_of(' '))) << "\n.fi\n.RE\n";
    } else {
      out << Escaped(line) << '\n';
    }
  }
}

void PrintCommand(const CLI::App& command, std::ostream& out) {
  std::string usage = "kestrix " + command.get_name() + " [OPTIONS]";
  for (const CLI::Option* option : command.get_options()) {
    if (!option->get_positional()) continue;
    const std::string name = option->get_name(true);
    usage += option->get_required() ? " " + name : " [" + name + "]";
  }
  out << ".SS " << Escaped(usage) << '\n' << Escaped(command.get_description()) << ".\n";
  for (const CLI::Option* option : command.get_options()) PrintOption(*option, out);
  out << ".PP\n";
  PrintFooter(command.get_footer(), out);
}

void PrintManPage(const CLI::App& program, std::ostream& out) {
  out << ".TH KESTRIX 1 \"\" \"kestrix " KESTRIX_VERSION
         "\"\n"
         ".SH NAME\nkestrix \\- "
      << Escaped(program.get_description()) << "\n.SH SYNOPSIS\n\\fBkestrix\\fR \\fICOMMAND\\fR [\\fIOPTIONS\\fR]\n"
      << ".SH OPTIONS\n";
  for (const CLI::Option* option : program.get_options()) PrintOption(*option, out);
  out << ".SH COMMANDS\n";
  for (const CLI::App* command : CommandsOf(program)) PrintCommand(*command, out);
  out << ".SH ENVIRONMENT\n.TP\n\\fBNO_COLOR\\fR\nWhen it is set, nothing is printed in colour.\n";
}

}  // namespace

void AddMan(CLI::App& program, ExitStatus& status) {
  CLI::App* command = program.add_subcommand("man", "Print the manual page");
  command->footer(kExample);
  command->callback([&program, &status] {
    PrintManPage(program, std::cout);
    status = kSuccess;
  });
}
