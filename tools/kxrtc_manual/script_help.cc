#include "tools/kxrtc_manual/script_help.h"

#include <sstream>
#include <string>

namespace kxrtc_manual {
namespace {

constexpr char kUsage[] = "usage: ";
constexpr size_t kIndent = 2;  // Of an option; its description begins behind two spaces.

// "-l, --long VALUE  description".
OptionModel ReadOption(const std::string& line) {
  OptionModel option;
  const size_t end = line.find("  ");
  std::istringstream words(line.substr(0, end));
  for (std::string word; words >> word;) {
    if (word[0] != '-') {
      option.value += (option.value.empty() ? "" : " ") + word;
      option.kind = ValueKind::kOther;
    } else {
      if (word.back() == ',') word.pop_back();
      option.names.push_back(word);
    }
  }
  if (end != std::string::npos) {
    option.description = line.substr(line.find_first_not_of(' ', end));
  }
  return option;
}

}  // namespace

bool ReadScriptHelp(const std::string& text, ScriptHelp* help) {
  std::istringstream lines(text);
  CommandModel& command = help->command;
  std::string line;
  const std::string usage = kUsage;
  if (!std::getline(lines, command.description) || !std::getline(lines, line)) return false;
  if (line.compare(0, usage.size(), usage) != 0) return false;
  const size_t name_end = line.find(' ', usage.size());
  command.name = line.substr(usage.size(), name_end - usage.size());
  if (name_end != std::string::npos) help->arguments = line.substr(name_end + 1);
  bool are_options = true;
  while (std::getline(lines, line)) {
    const size_t first = line.find_first_not_of(' ');
    if (are_options && first == kIndent && line[first] == '-') {
      command.options.push_back(ReadOption(line.substr(kIndent)));
    } else if (are_options && first != std::string::npos && first > kIndent &&
               !command.options.empty()) {
      command.options.back().description += "\n" + line.substr(first);
    } else {
      are_options &= first == std::string::npos;
      if (!are_options) command.notes += line + "\n";
    }
  }
  return !command.options.empty();
}

}  // namespace kxrtc_manual
