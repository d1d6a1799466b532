#include <string>
#include <vector>

#include "tools/kxrtc_manual/completions.h"

namespace kxrtc_manual {
namespace {

// Between single quotes, fish knows only these two escapes.
std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) {
    if (c == '\'' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "'";
}

// What is offered for the value of an option or for an argument.
std::string Value(const OptionModel& option) {
  switch (option.kind) {
    case ValueKind::kNone:
      return "";
    case ValueKind::kFile:
      return " -F";
    case ValueKind::kFolder:
      return " -a '(__fish_complete_directories)'";
    case ValueKind::kChoice:
      return " -a " + Quoted(Joined(option.choices));
    case ValueKind::kOther:
      return "";
  }
  return "";
}

std::string Option(const OptionModel& option, const std::string& condition) {
  std::string text = "complete -c kxrtc" + condition;
  for (const std::string& name : option.names) {
    text += name.compare(0, 2, "--") == 0 ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  if (option.kind != ValueKind::kNone) text += option.kind == ValueKind::kFile ? " -r" : " -x";
  return text + Value(option) + " -d " + Quoted(FirstLine(option.description)) + "\n";
}

}  // namespace

std::string FishCompletion(const ProgramModel& model) {
  std::string values;  // Options that take the next argument.
  std::string rules;
  const auto add = [&](const OptionModel& option, const std::string& condition) {
    rules += Option(option, condition);
    if (option.kind != ValueKind::kNone) values += " " + Joined(option.names);
  };
  for (const OptionModel& option : model.program.options) add(option, "");
  for (const CommandModel& command : model.commands) {
    rules += "complete -c kxrtc -n '__kxrtc_at \"\"' -a " + command.name + " -d " +
             Quoted(FirstLine(command.description)) + "\n";
    for (const OptionModel& option : command.options) {
      if (option.names.back() == "--help") continue;  // It is among those of the program.
      add(option, " -n '__kxrtc_at " + command.name + "'");
    }
    for (size_t i = 0; i < command.positionals.size(); ++i) {
      const OptionModel& positional = command.positionals[i];
      const std::string place = positional.repeats ? "" : " " + std::to_string(i);
      rules += "complete -c kxrtc -n '__kxrtc_at " + command.name + place + "'" +
               Value(positional) + "\n";
    }
  }
  return "# Completion of kxrtc for fish.\n"
         "\n"
         "# True behind the subcommand $argv[1], and if given, behind $argv[2] arguments of it.\n"
         "function __kxrtc_at\n"
         "    set -l values" +
         values +
         "\n"
         "    set -l words (commandline -opc)\n"
         "    set -l command ''\n"
         "    set -l count 0\n"
         "    set -l skip 1\n"
         "    for word in $words\n"
         "        if test $skip = 1\n"
         "            set skip 0\n"
         "        else if contains -- $word $values\n"
         "            set skip 1\n"
         "        else if string match -q -- '-*' $word\n"
         "            continue\n"
         "        else if test -n \"$command\"\n"
         "            set count (math $count + 1)\n"
         "        else\n"
         "            set command $word\n"
         "        end\n"
         "    end\n"
         "    test \"$command\" = \"$argv[1]\"\n"
         "    and test (count $argv) = 1 -o \"$argv[2]\" = $count\n"
         "end\n"
         "\n"
         "complete -c kxrtc -f\n" +
         rules;
}

}  // namespace kxrtc_manual
