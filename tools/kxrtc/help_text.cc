#include "tools/kxrtc/help_text.h"

#include <CLI/CLI.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace kxrtc_tool {
namespace {

constexpr size_t kLineWidth = 80;
constexpr size_t kSubcommandColumn = 14;

// Where the text of a line begins: behind what is indented, and behind a column of names.
size_t TextColumn(const std::string& line) {
  const size_t gap = line.rfind("  ");
  return gap == std::string::npos ? 0 : gap + 2;
}

// `line` in lines of kLineWidth characters, all of its text in the same column.
std::string Filled(std::string line) {
  const size_t column = TextColumn(line);
  std::string filled;
  while (line.size() > kLineWidth) {
    size_t space = line.rfind(' ', kLineWidth);
    if (space == std::string::npos || space <= column) space = line.find(' ', kLineWidth);
    if (space == std::string::npos) break;
    filled += line.substr(0, space) + "\n";
    line = std::string(column, ' ') + line.substr(space + 1);
  }
  return filled + line;
}

// A description as one line, but each value that it explains ("copy: ...") on its own.
std::string Joined(std::string text) {
  for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos; ++at) {
    const size_t space = text.find(' ', at);
    if (space == std::string::npos || text[space - 1] != ':') text[at] = ' ';
  }
  return text;
}

class HelpFormatter final : public CLI::Formatter {
 public:
  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override {
    std::istringstream lines(CLI::Formatter::make_help(app, std::move(name), mode));
    std::string text;
    for (std::string line; std::getline(lines, line);) text += Filled(line) + "\n";
    return text;
  }

  std::string make_subcommand(const CLI::App* command) const override {
    std::ostringstream line;
    CLI::detail::format_help(line, command->get_name(), command->get_description(),
                             kSubcommandColumn);
    return line.str();
  }

  std::string make_option_desc(const CLI::Option* option) const override {
    return Joined(CLI::Formatter::make_option_desc(option));
  }

  // Without the mark that CLI11 puts behind a flag that switches something off.
  std::string make_option_name(const CLI::Option* option, bool is_positional) const override {
    std::string name = CLI::Formatter::make_option_name(option, is_positional);
    const std::string mark = "{false}";
    for (size_t at; (at = name.find(mark)) != std::string::npos;) name.erase(at, mark.size());
    return name;
  }

  // The values of an option: those that its check names, or what kind they are.
  std::string make_option_opts(const CLI::Option* option) const override {
    if (option->get_positional() || option->get_expected_max() == 0) return Relations(*option);
    const std::string type = option->get_type_name();
    const size_t colon = type.find(':');
    return " " + (colon == std::string::npos ? type : type.substr(colon + 1)) + Relations(*option);
  }

 private:
  static std::string Relations(const CLI::Option& option) {
    std::string text;
    for (const CLI::Option* needed : option.get_needs()) {
      text += (text.empty() ? " (needs " : ", ") + needed->get_name();
    }
    return text.empty() ? text : text + ")";
  }
};

}  // namespace

std::shared_ptr<CLI::FormatterBase> MakeHelpFormatter() {
  return std::make_shared<HelpFormatter>();
}

void AddHelpCommand(CLI::App& app) {
  CLI::App* const command = app.add_subcommand("help", "Print the help of a subcommand");
  command->add_option("SUBCOMMAND", "Its name; without it, the help of kxrtc itself");
  command->footer("Example:\n  kxrtc help transcode\n");
  command->callback([] { throw CLI::CallForHelp(); });  // Behind other options.
}

std::vector<std::string> AsHelpOption(std::vector<std::string> arguments) {
  const bool is_help = !arguments.empty() && arguments.front() == "help" && arguments.size() <= 2;
  if (!is_help || arguments.back().compare(0, 1, "-") == 0) return arguments;
  arguments.erase(arguments.begin());
  arguments.push_back("--help");
  return arguments;
}

}  // namespace kxrtc_tool
