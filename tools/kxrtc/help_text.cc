#include "tools/kxrtc/help_text.h"

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace kxrtc_tool {
namespace {

class HelpFormatter final : public CLI::Formatter {
 public:
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
