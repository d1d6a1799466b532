#include "tools/kxrtc_manual/command_model.h"

#include <CLI/CLI.hpp>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tools/kxrtc/command_line.h"
#include "tools/kxrtc/log_file.h"
#include "tools/kxrtc/path_options.h"

namespace kxrtc_manual {
namespace {

// What the value of the option is called in the help.
std::string ValueName(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  const size_t colon = type.find(':');
  return colon == std::string::npos ? type : type.substr(colon + 1);
}

// "copy|encode" as its names; empty for what names none.
std::vector<std::string> Choices(const std::string& value) {
  std::vector<std::string> names;
  if (value.find('|') == std::string::npos) return names;
  std::istringstream parts(value);
  for (std::string part; std::getline(parts, part, '|');) {
    // "1-6" is not a value but the first and the last one.
    if (part.size() == 3 && part[1] == '-') {
      for (char c = part[0]; c <= part[2]; ++c) names.emplace_back(1, c);
    } else {
      names.push_back(part);
    }
  }
  return names;
}

OptionModel ReadOption(const CLI::Option& option) {
  OptionModel model;
  if (option.get_positional()) {
    model.names.push_back(option.get_name(true));
  } else {
    for (const std::string& name : option.get_snames()) model.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) model.names.push_back("--" + name);
  }
  model.description = option.get_description();
  model.is_required = option.get_required();
  model.repeats = option.get_expected_max() > 1;
  if (option.get_expected_max() == 0) return model;
  model.value = ValueName(option);
  model.choices = Choices(model.value);
  model.kind = ValueKind::kOther;
  if (!model.choices.empty()) model.kind = ValueKind::kChoice;
  if (model.value == kxrtc_tool::kFileValue) model.kind = ValueKind::kFile;
  if (model.value == kxrtc_tool::kFolderValue) model.kind = ValueKind::kFolder;
  return model;
}

CommandModel ReadCommand(const CLI::App& command) {
  CommandModel model;
  model.name = command.get_name();
  model.description = command.get_description();
  for (const CLI::Option* option : command.get_options()) {
    (option->get_positional() ? model.positionals : model.options).push_back(ReadOption(*option));
  }
  return model;
}

}  // namespace

ProgramModel ReadProgram() {
  int exit_status = 0;
  kxrtc_tool::LogFile log_file;
  kxrtc_tool::PathOptions paths;
  CLI::App app(kxrtc_tool::kProgramDescription, "kxrtc");
  kxrtc_tool::AddSubcommands(app, &paths, &exit_status);
  const std::vector<CLI::App*> commands = app.get_subcommands([](CLI::App*) { return true; });
  // Before the options of the log stand there too.
  std::map<const CLI::App*, std::string> notes;
  for (const CLI::App* command : commands) notes[command] = command->get_footer();
  kxrtc_tool::AddLogOptions(app, paths, &log_file);

  ProgramModel model;
  model.program = ReadCommand(app);
  model.program.name.clear();
  model.program.notes = app.get_footer();
  for (const CLI::App* command : commands) {
    model.commands.push_back(ReadCommand(*command));
    model.commands.back().notes = notes[command];
  }
  // "help" prints what they have to say.
  for (CommandModel& command : model.commands) {
    if (command.name != "help" || command.positionals.empty()) continue;
    OptionModel& topic = command.positionals.front();
    topic.kind = ValueKind::kChoice;
    for (const CLI::App* other : commands) topic.choices.push_back(other->get_name());
  }
  return model;
}

}  // namespace kxrtc_manual
