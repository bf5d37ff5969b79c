// The texts that come from the option table.
#include <algorithm>

#include "app/cli/command_line_options.h"
#include "app/version.h"

namespace marvik {
namespace {

constexpr char kUsage[] = R"(marvik [FILE]                  open the window
marvik ACTION [OPTION ...] FILE
marvik --commands STEPS [OPTION ...] [ACTION] [FILE]
marvik --batch LIST ACTION ... [OPTION ...]
)";
constexpr char kEnd[] =
    "Results go to standard output, messages to standard error. Status 0: done; 1: a warning or error was shown; "
    "2: wrong usage.";
constexpr size_t kHelpColumn = 28;
constexpr size_t kLineWidth = 110;

std::string SpellingOf(const OptionRow& row) {
  const std::string value = row.ValueText();
  return value.empty() ? row.name : row.name + (" " + value);
}

// Breaks `text` between words, each line but the first behind an indent.
std::string Wrapped(std::string_view text, size_t indent) {
  std::string lines;
  const size_t width = kLineWidth - indent;
  while (text.size() > width) {
    const size_t blank = text.rfind(' ', width);
    const size_t end = blank == std::string_view::npos ? width : blank;
    lines.append(text.substr(0, end)).append("\n").append(indent, ' ');
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines.append(text);
}

// The headings in the order in which they come up.
std::vector<std::string_view> Groups() {
  std::vector<std::string_view> groups;
  for (const OptionRow& row : OptionTable()) {
    const std::string_view group = row.group;
    if (!group.empty() && std::ranges::find(groups, group) == groups.end()) groups.push_back(group);
  }
  return groups;
}

// A dash that is no hyphen, and no line that troff would take as a request.
std::string Troff(std::string_view text) {
  std::string out;
  for (const char c : text) {
    if (out.empty() && (c == '.' || c == '\'')) out += "\\&";
    if (c == '\\' || c == '-') out += '\\';
    out += c;
  }
  return out;
}

}  // namespace

std::string CommandLineHelp() {
  std::string text = kUsage;
  for (const std::string_view group : Groups()) {
    text.append("\n").append(group).append(":\n");
    for (const OptionRow& row : OptionTable()) {
      if (row.group != group) continue;
      std::string head = "  " + SpellingOf(row);
      head += head.size() + 2 > kHelpColumn ? "\n" + std::string(kHelpColumn, ' ')
                                            : std::string(kHelpColumn - head.size(), ' ');
      text += head + Wrapped(row.help, kHelpColumn) + "\n";
    }
  }
  return text + "\n" + Wrapped(kEnd, 0) + "\n";
}

std::string ManualPage() {
  std::string text =
      std::string(".TH MARVIK 1 \"\" \"Marvik ") + kProgramVersion + "\" \"User Commands\"\n" +
      ".SH NAME\nmarvik, marvik\\-batch \\- refinement of crystal structures\n.SH SYNOPSIS\n" +
      ".B marvik\n[\\fIFILE\\fR]\n.br\n.B marvik\n\\fIACTION\\fR [\\fIOPTION\\fR ...] \\fIFILE\\fR\n" +
      ".br\n.B marvik \\-\\-commands\n\\fISTEPS\\fR [\\fIOPTION\\fR ...] [\\fIACTION\\fR] [\\fIFILE\\fR]\n" +
      ".SH DESCRIPTION\nMarvik shows, edits and refines crystal structures. " +
      "With an action it opens no window; marvik\\-batch never does.\n";
  for (const std::string_view group : Groups()) {
    text.append(".SH ").append(Troff(group)).append("\n");
    for (const OptionRow& row : OptionTable()) {
      if (row.group != group) continue;
      text += std::string(".TP\n.B ") + Troff(row.name) + " " + Troff(row.ValueText()) + "\n" + Troff(row.help) + "\n";
    }
  }
  text += ".SH COMMANDS\nThe steps of \\-\\-commands, with what stands behind \"=\":\n";
  for (const CommandRow& row : CommandTable()) {
    const std::string value = row.argument[0] ? std::string("=") + row.argument : "";
    text += ".TP\n.B " + Troff(row.name + value) + "\n" + Troff(PlainText(row)) + " (" + std::to_string(row.id) + ")\n";
  }
  return text + ".SH EXIT STATUS\n" + Troff(kEnd) + "\n";
}

std::string CompletionScript() {
  std::string options;
  std::string cases;
  for (const OptionRow& row : OptionTable()) {
    options.append(options.empty() ? "" : " ").append(row.name);
    const std::string_view value = row.value;
    if (row.IsFlag()) continue;
    cases.append("    ").append(row.name).append(") ");
    if (!row.choices.empty()) {
      std::string words = row.ValueText();
      std::ranges::replace(words, '|', ' ');
      cases += "COMPREPLY=($(compgen -W '" + words + "' -- \"$word\")) ;;\n";
    } else if (value == "STEPS") {
      cases += "COMPREPLY=($(compgen -W \"$(\"$1\" --list-commands 2>/dev/null | cut -f 2)\" -- \"$word\")) ;;\n";
    } else if (value == "FILE" || value == "LIST" || value == "OUT" || value == "DIR") {
      cases += std::string("COMPREPLY=($(compgen ") + (value == "DIR" ? "-d" : "-f") + " -- \"$word\")) ;;\n";
    } else {
      cases += "COMPREPLY=() ;;\n";
    }
  }
  return "# bash completion of marvik\n_marvik() {\n  local word=${COMP_WORDS[COMP_CWORD]} "
         "before=${COMP_WORDS[COMP_CWORD-1]}\n"
         "  case $before in\n" +
         cases + "    *) if [[ $word == -* ]]; then\n         COMPREPLY=($(compgen -W '" + options +
         "' -- \"$word\"))\n       else\n         COMPREPLY=($(compgen -f -- \"$word\"))\n       fi ;;\n  esac\n}\n"
         "complete -o filenames -F _marvik marvik marvik-batch\n";
}

}  // namespace marvik
