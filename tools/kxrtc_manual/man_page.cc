#include "tools/kxrtc_manual/man_page.h"

#include <algorithm>
#include <cctype>
#include <sstream>
#include <string>
#include <vector>

namespace kxrtc_manual {
namespace {

// `text` so that roff shows it as it is. Dashes stay what a user can copy.
std::string Shown(const std::string& text) {
  std::string shown;
  for (const char c : text) {
    if (c == '\\') {
      shown += "\\e";
    } else if (c == '-') {
      shown += "\\-";
    } else if (c == '~') {
      shown += "\\(ti";
    } else if (c == '^') {
      shown += "\\(ha";
    } else if (c == '\'') {
      shown += "\\(aq";
    } else if (c == '`') {
      shown += "\\(ga";
    } else {
      shown += c;
    }
  }
  // A line that begins so would be a request.
  if (shown[0] == '.') shown.insert(0, "\\&");
  return shown;
}

// The same in lines that are short enough for an editor; roff fills them anyway.
std::string Filled(const std::string& text) {
  constexpr size_t kWidth = 78;
  std::string filled;
  std::string line;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    const std::string longer = line.empty() ? word : line + " " + word;
    if (Shown(longer).size() > kWidth && !line.empty()) {
      filled += Shown(line) + "\n";
      line = word;
    } else {
      line = longer;
    }
  }
  return filled + Shown(line);
}

std::string Bold(const std::string& text) { return "\\fB" + Shown(text) + "\\fR"; }
std::string Italic(const std::string& text) { return "\\fI" + Shown(text) + "\\fR"; }

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::string Upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

std::string PageName(const std::string& command) {
  return command.empty() ? "kxrtc" : "kxrtc-" + command;
}

std::string Reference(const std::string& page) { return ".BR " + Shown(page) + " (1)"; }

std::string Head(const std::string& name, const std::string& description,
                 const ManualFacts& facts) {
  std::string summary = description;
  if (!summary.empty() && summary.back() == '.') summary.pop_back();
  if (!summary.empty()) summary[0] = static_cast<char>(std::tolower(summary[0]));
  return ".TH " + Upper(name) + " 1 " + facts.date + " \"kxrtc " + facts.version +
         "\" \"User Commands\"\n.SH NAME\n" + Shown(name) + " \\-\n" + Filled(summary) + "\n";
}

std::string Options(const std::vector<OptionModel>& options) {
  std::string text;
  for (const OptionModel& option : options) {
    text += ".TP\n";
    for (const std::string& name : option.names) {
      if (&name != &option.names.front()) text += ", ";
      text += name[0] == '-' ? Bold(name) : Italic(name);
    }
    if (!option.value.empty() && option.names.front()[0] == '-') {
      text +=
          option.kind == ValueKind::kChoice ? " " + Bold(option.value) : " " + Italic(option.value);
    }
    text += "\n";
    bool is_first = true;
    for (const std::string& line : LinesOf(option.description)) {
      // "copy: what it does" stays a line of its own.
      const size_t colon = line.find(": ");
      const bool names_value =
          colon != std::string::npos && std::find(option.choices.begin(), option.choices.end(),
                                                  line.substr(0, colon)) != option.choices.end();
      if (names_value && !is_first) text += ".br\n";
      text += Filled(line) + "\n";
      is_first = false;
    }
  }
  return text;
}

// What stands behind the options in the help, as the sections that it belongs to.
struct Notes {
  std::string description;
  std::string exit_status;
  std::string examples;
};

// Behind the words with which a paragraph about exit statuses begins; 0: it is about something
// else.
size_t EndOfStatusMark(const std::string& line) {
  for (const std::string mark : {"Exit status: ", "Status: "}) {
    if (line.compare(0, mark.size(), mark) == 0) return mark.size();
  }
  return 0;
}

Notes SortNotes(const std::string& text) {
  Notes notes;
  std::string* section = &notes.description;
  bool is_literal = false;
  bool is_paragraph = false;
  const auto end_literal = [&] {
    if (!is_literal) return;
    *section += ".EE\n.RE\n";
    is_literal = is_paragraph = false;
  };
  for (const std::string& line : LinesOf(text)) {
    if (line.compare(0, 2, "  ") == 0) {
      if (!is_literal) *section += ".PP\n.RS 4\n.EX\n";
      is_literal = true;
      *section += Shown(line.substr(2)) + "\n";
      continue;
    }
    end_literal();
    if (line.compare(0, 7, "Example") == 0) {
      section = &notes.examples;
      is_paragraph = false;
      if (line == "Example:" || line == "Examples:") continue;
    }
    if (line.empty()) {
      is_paragraph = false;
      if (section == &notes.exit_status) section = &notes.description;
      continue;
    }
    const size_t told = EndOfStatusMark(line);
    if (told > 0) {
      section = &notes.exit_status;
    } else if (!is_paragraph) {
      *section += ".PP\n";
    }
    is_paragraph = true;
    *section += Filled(line.substr(told)) + "\n";
  }
  end_literal();
  return notes;
}

// A section must not begin with a paragraph.
std::string Section(const std::string& name, const std::string& text) {
  if (text.empty()) return "";
  const bool is_paragraph = text.compare(0, 4, ".PP\n") == 0;
  return ".SH " + name + "\n" + (is_paragraph ? text.substr(4) : text);
}

std::string Synopsis(const CommandModel& command) {
  std::string text = ".SH SYNOPSIS\n.B kxrtc " + Shown(command.name) + "\n";
  if (!command.options.empty()) text += "[\\fIOPTIONS\\fR]\n";
  for (const OptionModel& positional : command.positionals) {
    const std::string name = Italic(positional.names.front());
    const std::string all = name + (positional.repeats ? " ..." : "");
    text += positional.is_required ? all + "\n" : "[" + all + "]\n";
  }
  return text;
}

std::string WithoutMarkup(const std::string& text) {
  std::string plain;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text.compare(i, 2, "](") == 0) {
      i = std::min(text.find(')', i), text.size());
    } else if (text.compare(i, 2, "\\|") != 0 && text[i] != '`' && text[i] != '[') {
      plain += text[i];
    }
  }
  const size_t first = plain.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return plain.substr(first, plain.find_last_not_of(' ') - first + 1);
}

}  // namespace

std::vector<ExitStatusRow> ReadExitStatuses(const std::string& text) {
  std::vector<ExitStatusRow> rows;
  const size_t section = text.find("\n## Exit statuses\n");
  if (section == std::string::npos) return rows;
  for (const std::string& line : LinesOf(text.substr(section + 1))) {
    if (line.compare(0, 3, "## ") == 0 && !rows.empty()) break;
    if (line.compare(0, 2, "| ") != 0) continue;
    // "\|" is no end of a cell.
    std::vector<size_t> bars;
    for (size_t i = 0; i < line.size(); ++i) {
      if (line[i] == '|' && (i == 0 || line[i - 1] != '\\')) bars.push_back(i);
    }
    if (bars.size() < 3) continue;
    const auto cell = [&](size_t i) {
      return WithoutMarkup(line.substr(bars[i] + 1, bars[i + 1] - bars[i] - 1));
    };
    if (cell(0) != "Status") rows.push_back({cell(0), cell(1)});
  }
  return rows;
}

std::string ProgramPage(const ProgramModel& model, const ManualFacts& facts) {
  std::string page = Head(PageName(""), model.program.description, facts);
  page +=
      ".SH SYNOPSIS\n.B kxrtc\n\\fISUBCOMMAND\\fR\n[\\fIOPTIONS\\fR]\n\\fIARGUMENTS\\fR\n"
      ".SH DESCRIPTION\n" +
      Shown(model.program.description) +
      "\nA speaker record is what a conferencing client writes while it records.\n"
      ".SH SUBCOMMANDS\n";
  for (const CommandModel& command : model.commands) {
    page += ".TP\n" + Reference(PageName(command.name)) + "\n" + Filled(command.description) + "\n";
  }
  page += Section("OPTIONS", "These go with every subcommand.\n" + Options(model.program.options));
  std::string statuses;
  for (const ExitStatusRow& row : facts.exit_statuses) {
    statuses += ".TP\n" + Bold(row.status) + "\n" + Filled(row.meaning) + "\n";
  }
  page += Section("EXIT STATUS", "These numbers keep their meaning.\n" + statuses);
  page += Section("ENVIRONMENT",
                  ".TP\n" + Bold("NO_COLOR") + "\nIf set, a terminal gets no colours.\n");
  page += Section("EXAMPLES", SortNotes(model.program.notes).examples);
  page += ".SH SEE ALSO\n";
  for (const CommandModel& command : model.commands) {
    const bool is_last = &command == &model.commands.back();
    page += Reference(PageName(command.name)) + (is_last ? "\n" : ",\n");
  }
  return page;
}

std::string CommandPage(const ProgramModel& model, const CommandModel& command,
                        const ManualFacts& facts) {
  const Notes notes = SortNotes(command.notes);
  std::string page = Head(PageName(command.name), command.description, facts) + Synopsis(command);
  page += Section("DESCRIPTION", Filled(command.description) + ".\n" + notes.description);
  std::vector<OptionModel> options = command.positionals;
  options.insert(options.end(), command.options.begin(), command.options.end());
  for (const OptionModel& option : model.program.options) {
    const auto has_name = [&](const OptionModel& other) { return other.names == option.names; };
    if (std::none_of(options.begin(), options.end(), has_name)) options.push_back(option);
  }
  page += Section("OPTIONS", Options(options));
  page += Section("EXIT STATUS", (notes.exit_status.empty() ? "0 done.\n" : notes.exit_status) +
                                     Reference("kxrtc") + "\nlists all of them.\n");
  page += Section("EXAMPLES", notes.examples);
  page += ".SH SEE ALSO\n" + Reference("kxrtc") + "\n";
  return page;
}

std::string ScriptPage(const ScriptHelp& help, const ManualFacts& facts) {
  const CommandModel& command = help.command;
  const Notes notes = SortNotes(command.notes);
  std::string page = Head(command.name, command.description, facts);
  page += ".SH SYNOPSIS\n.B " + Shown(command.name) + "\n" + Filled(help.arguments) + "\n";
  page += Section("DESCRIPTION", Filled(command.description) + ".\n" + notes.description);
  page += Section("OPTIONS", Options(command.options));
  page += Section("EXIT STATUS", notes.exit_status);
  page += Section("EXAMPLES", notes.examples);
  return page + ".SH SEE ALSO\n" + Reference("kxrtc") + "\n";
}

}  // namespace kxrtc_manual
