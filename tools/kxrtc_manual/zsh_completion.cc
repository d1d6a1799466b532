#include <string>
#include <vector>

#include "tools/kxrtc_manual/completions.h"

namespace kxrtc_manual {
namespace {

// `text` as _arguments wants it.
std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '[' || c == ']' || c == ':' || c == '\\') escaped += '\\';
    escaped += c;
  }
  return escaped;
}

// ":message:action" for the value of an option or for an argument.
std::string Value(const OptionModel& option, const std::string& message) {
  std::string action;
  switch (option.kind) {
    case ValueKind::kNone:
      return "";
    case ValueKind::kFile:
      action = "_files";
      break;
    case ValueKind::kFolder:
      action = "_files -/";
      break;
    case ValueKind::kChoice:
      action = "(" + Joined(option.choices) + ")";
      break;
    case ValueKind::kOther:
      action = " ";
      break;
  }
  return ":" + Escaped(message) + ":" + action;
}

std::string Option(const OptionModel& option) {
  std::string excluded;
  std::string names;
  for (const std::string& name : option.names) {
    const bool is_long = name.compare(0, 2, "--") == 0;
    const bool takes_value = option.kind != ValueKind::kNone;
    excluded += (excluded.empty() ? "" : " ") + name;
    names += (names.empty() ? "" : ",") + name;
    if (takes_value) names += is_long ? "=" : "+";
  }
  const bool has_several = option.names.size() > 1;
  const std::string value_name = option.kind == ValueKind::kChoice ? "value" : option.value;
  return "'(" + excluded + ")'" + (has_several ? "{" + names + "}" : names) +
         SingleQuoted("[" + Escaped(FirstLine(option.description)) + "]" +
                      Value(option, value_name));
}

std::string Options(const std::vector<OptionModel>& options, const std::string& indent) {
  std::string text;
  for (const OptionModel& option : options) text += indent + Option(option) + " \\\n";
  return text;
}

std::string Positionals(const std::vector<OptionModel>& positionals, const std::string& indent) {
  std::string text;
  for (size_t i = 0; i < positionals.size(); ++i) {
    const OptionModel& positional = positionals[i];
    const std::string place = positional.repeats ? "*" : std::to_string(i + 1);
    text += indent + SingleQuoted(place + Value(positional, positional.names.front())) + " \\\n";
  }
  return text;
}

}  // namespace

std::string ZshCompletion(const ProgramModel& model) {
  std::string commands;
  std::string cases;
  for (const CommandModel& command : model.commands) {
    commands +=
        "    " + SingleQuoted(command.name + ":" + Escaped(FirstLine(command.description))) + "\n";
    cases += "      " + command.name + ")\n        _arguments -s : \\\n" +
             Options(command.options, "          ") + "          $common \\\n" +
             Positionals(command.positionals, "          ") + "          && result=0\n" +
             "        ;;\n";
  }
  std::vector<OptionModel> log_options;  // Those that every subcommand takes and does not have.
  for (const OptionModel& option : model.program.options) {
    if (option.kind != ValueKind::kNone) log_options.push_back(option);
  }
  std::string common;
  for (const OptionModel& option : log_options) common += "    " + Option(option) + "\n";
  return "#compdef kxrtc\n"
         "# Completion of kxrtc for zsh.\n"
         "_kxrtc() {\n"
         "  local curcontext=$curcontext state line result=1\n"
         "  typeset -A opt_args\n"
         "  local -a commands common\n"
         "  commands=(\n" +
         commands +
         "  )\n"
         "  common=(\n" +
         common +
         "  )\n"
         "  _arguments -C -s : \\\n" +
         Options(model.program.options, "    ") +
         "    '1:subcommand:->subcommand' \\\n"
         "    '*::argument:->argument' && result=0\n"
         "  if [[ $state == subcommand ]]; then\n"
         "    _describe subcommand commands && result=0\n"
         "  elif [[ $state == argument ]]; then\n"
         "    curcontext=${curcontext%:*}-$line[1]:\n"
         "    case $line[1] in\n" +
         cases +
         "    esac\n"
         "  fi\n"
         "  return result\n"
         "}\n"
         "\n"
         "_kxrtc \"$@\"\n";
}

}  // namespace kxrtc_manual
