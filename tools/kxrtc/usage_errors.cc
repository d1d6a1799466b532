#include "tools/kxrtc/usage_errors.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <vector>

#include "tools/kxrtc/json_line.h"
#include "tools/kxrtc/nearest_name.h"

namespace kxrtc_tool {
namespace {

// The subcommand that was given; the program itself where there is none.
const CLI::App& GivenCommand(const CLI::App& app) {
  const std::vector<CLI::App*> given = app.get_subcommands();
  return given.empty() ? app : *given.front();
}

std::vector<std::string> SubcommandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    names.push_back(command->get_name());
  }
  return names;
}

void AddOptionNames(const CLI::App& app, std::vector<std::string>* names) {
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names->push_back("--" + name);
  }
}

bool IsOption(const std::string& argument) { return argument.size() > 1 && argument[0] == '-'; }

std::string NoOptionText(const CLI::App& app, const std::string& argument) {
  const CLI::App& command = GivenCommand(app);
  if (argument.compare(0, 2, "-=") == 0) return "a flag takes no value: " + argument.substr(1);
  const std::string name = argument.substr(0, argument.find('='));
  std::vector<std::string> names;
  AddOptionNames(command, &names);
  if (&command != &app) AddOptionNames(app, &names);
  return "there is no option " + name + DidYouMean(name, names);
}

// The part of CLI11's message before `end`: the name of an option.
std::string NameIn(const std::string& message, const char* end) {
  return message.substr(0, message.find(end));
}

const CLI::Option* FindOption(const CLI::App& app, const std::string& name) {
  const CLI::App& command = GivenCommand(app);
  const CLI::Option* const option = command.get_option_no_throw(name);
  return option != nullptr ? option : app.get_option_no_throw(name);
}

std::string ConversionText(const CLI::App& app, const std::string& message) {
  const std::string start = "Could not convert: ";
  if (message.compare(0, start.size(), start) != 0) return message;
  const std::string rest = message.substr(start.size());
  const size_t equals = rest.find(" = ");
  if (equals == std::string::npos) return message;
  const std::string name = rest.substr(0, equals);
  const CLI::Option* const option = FindOption(app, name);
  if (option != nullptr && option->get_expected_max() == 0) return name + " takes no value";
  return name + ": " + rest.substr(equals + 3) + " is not a number that it takes";
}

}  // namespace

bool AsksForJson(const std::vector<std::string>& arguments) {
  for (const std::string& argument : arguments) {
    if (argument == "--") return false;
    if (argument == "--json") return true;
    const bool is_letters = argument.size() > 1 && argument[0] == '-' && argument[1] != '-' &&
                            std::all_of(argument.begin() + 1, argument.end(),
                                        [](char c) { return c >= 'a' && c <= 'z'; });
    if (is_letters && argument.find('j') != std::string::npos) return true;
  }
  return false;
}

std::string SubcommandOf(const CLI::App& app) {
  const CLI::App& command = GivenCommand(app);
  return &command == &app ? "" : command.get_name();
}

bool IsSubcommand(const CLI::App& app, const std::string& name) {
  const std::vector<std::string> names = SubcommandNames(app);
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::string NoSubcommandText(const CLI::App& app, const std::string& name) {
  return "there is no subcommand " + name + DidYouMean(name, SubcommandNames(app));
}

std::string UsageErrorText(const CLI::App& app, const CLI::ParseError& error) {
  const std::string message = error.what();
  const std::vector<std::string> rest = app.remaining(true);
  const auto wrong = std::find_if(rest.begin(), rest.end(), IsOption);
  const bool lacks = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
  const bool exceeds = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
  // A mistyped option leaves its value over, or takes the place of what is missing.
  if ((lacks || exceeds) && wrong != rest.end()) return NoOptionText(app, *wrong);
  if (lacks && SubcommandOf(app).empty()) {
    return rest.empty() ? "a subcommand is missing" : NoSubcommandText(app, rest.front());
  }
  if (exceeds && !rest.empty()) return "there is one argument too many: " + rest.front();
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    const std::string name = NameIn(message, ":");
    const CLI::Option* const option = FindOption(app, name);
    const bool is_repeated = option != nullptr && option->count() > 1;
    return name + (is_repeated ? " is given twice; leave one of the two out" : " needs a value");
  }
  if (dynamic_cast<const CLI::ExcludesError*>(&error) != nullptr) {
    return message + "; leave one of the two out";
  }
  if (dynamic_cast<const CLI::ConversionError*>(&error) != nullptr) {
    return ConversionText(app, message);
  }
  return message;
}

ExitStatus RefuseUsage(const std::string& command, const std::string& why, bool json) {
  if (json) PrintErrorLine(kExitUsage, why);
  const ExitStatus status = Fail(kExitUsage, why);
  const std::string program = command.empty() ? "kxrtc" : "kxrtc " + command;
  std::fprintf(stderr, "Run %s --help for more information.\n", program.c_str());
  return status;
}

}  // namespace kxrtc_tool
