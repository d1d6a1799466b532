// How the help of kxrtc looks.
#ifndef TOOLS_KXRTC_HELP_TEXT_H_
#define TOOLS_KXRTC_HELP_TEXT_H_

#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
class FormatterBase;
}  // namespace CLI

namespace kxrtc_tool {

// For the program and all of its subcommands; set it before they are added.
std::shared_ptr<CLI::FormatterBase> MakeHelpFormatter();

// Adds `kxrtc help`, so that the help lists it.
void AddHelpCommand(CLI::App& app);

// The arguments of the program, "help" and the name of a subcommand as its option --help.
std::vector<std::string> AsHelpOption(std::vector<std::string> arguments);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_HELP_TEXT_H_
