#include <string>
#include <vector>

#include "tools/kxrtc_manual/completions.h"

namespace kxrtc_manual {
namespace {

// The words of `kind`, for the argument in $cur.
std::string Complete(const OptionModel& option) {
  switch (option.kind) {
    case ValueKind::kFile:
      return "_filedir";
    case ValueKind::kFolder:
      return "_filedir -d";
    case ValueKind::kChoice:
      return "COMPREPLY=($(compgen -W " + SingleQuoted(Joined(option.choices)) + " -- \"$cur\"))";
    default:
      return ":";
  }
}

enum class Which { kAll, kWithValue };

// The names of these options as one word, with a space in front.
std::string Names(const std::vector<OptionModel>& options, Which which) {
  std::string names;
  for (const OptionModel& option : options) {
    if (which == Which::kWithValue && option.kind == ValueKind::kNone) continue;
    names += " " + Joined(option.names);
  }
  return SingleQuoted(names);
}

std::string Values(const std::string& command, const std::vector<OptionModel>& options) {
  std::string cases;
  for (const OptionModel& option : options) {
    if (option.kind == ValueKind::kNone) continue;
    std::string pattern;
    for (const std::string& name : option.names) {
      pattern += (pattern.empty() ? "" : " | ") + command + "," + name;
    }
    cases += "    " + pattern + ")\n      " + Complete(option) + "\n      return\n      ;;\n";
  }
  return cases;
}

std::string Case(const std::string& pattern, const std::string& action) {
  return "      " + pattern + ") " + action + " ;;\n";
}

}  // namespace

std::string BashCompletion(const ProgramModel& model) {
  std::vector<std::string> commands;
  std::string values = Values("*", model.program.options);
  std::string options;
  std::string value_options;
  std::string positionals;
  for (const CommandModel& command : model.commands) {
    commands.push_back(command.name);
    values += Values(command.name, command.options);
    options += Case(command.name, "options+=" + Names(command.options, Which::kAll));
    const std::string with_value = Names(command.options, Which::kWithValue);
    if (with_value != "''") value_options += Case("  " + command.name, "values+=" + with_value);
    for (size_t i = 0; i < command.positionals.size(); ++i) {
      const OptionModel& positional = command.positionals[i];
      const std::string place = positional.repeats ? "*" : std::to_string(i);
      positionals += "    " + command.name + "," + place + ") " + Complete(positional) + " ;;\n";
    }
  }
  return "# Completion of kxrtc for bash.\n"
         "_kxrtc() {\n"
         "  local cur prev words cword split\n"
         "  _init_completion -s || return\n"
         "\n"
         "  # The subcommand, and how many arguments of it stand before the cursor.\n"
         "  local command='' count=0 i\n"
         "  local values=" +
         Names(model.program.options, Which::kWithValue) +
         " options=" + Names(model.program.options, Which::kAll) +
         "\n"
         "  for ((i = 1; i < cword; i++)); do\n"
         "    if [[ \" $values \" == *\" ${words[i]} \"* ]]; then\n"
         "      ((i++))\n"
         "    elif [[ ${words[i]} == -* ]]; then\n"
         "      continue\n"
         "    elif [[ $command ]]; then\n"
         "      ((count++))\n"
         "    else\n"
         "      command=${words[i]}\n"
         "      case $command in\n" +
         value_options +
         "      esac\n"
         "    fi\n"
         "  done\n"
         "\n"
         "  case $command,$prev in\n" +
         values +
         "  esac\n"
         "  $split && return\n"
         "\n"
         "  if [[ $cur == -* ]]; then\n"
         "    case $command in\n" +
         options +
         "    esac\n"
         "    COMPREPLY=($(compgen -W \"$options\" -- \"$cur\"))\n"
         "    return\n"
         "  fi\n"
         "\n"
         "  case $command,$count in\n"
         "    ,*) COMPREPLY=($(compgen -W " +
         SingleQuoted(Joined(commands)) + " -- \"$cur\")) ;;\n" + positionals +
         "  esac\n"
         "} &&\n"
         "  complete -F _kxrtc kxrtc\n";
}

}  // namespace kxrtc_manual
