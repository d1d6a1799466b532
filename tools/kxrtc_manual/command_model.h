// The subcommands and options of kxrtc as plain data: what its man pages and completions tell.
#ifndef TOOLS_KXRTC_MANUAL_COMMAND_MODEL_H_
#define TOOLS_KXRTC_MANUAL_COMMAND_MODEL_H_

#include <string>
#include <vector>

namespace kxrtc_manual {

enum class ValueKind { kNone, kFile, kFolder, kChoice, kOther };

struct OptionModel {
  std::vector<std::string> names;  // With their dashes, the letter first; of a positional its name.
  ValueKind kind = ValueKind::kNone;
  std::string value;                 // As in the help, for example "FILE" or "copy|encode".
  std::vector<std::string> choices;  // Of kChoice.
  std::string description;
  bool is_required = false;
  bool repeats = false;
};

struct CommandModel {
  std::string name;  // Empty: the program without a subcommand.
  std::string description;
  std::vector<OptionModel> options;
  std::vector<OptionModel> positionals;
  std::string notes;  // What the help says behind the options, line by line.
};

struct ProgramModel {
  CommandModel program;                // Its options are those of every subcommand, too.
  std::vector<CommandModel> commands;  // As the help lists them.
};

// Takes it from the definitions with which kxrtc parses its command line.
ProgramModel ReadProgram();

}  // namespace kxrtc_manual

#endif  // TOOLS_KXRTC_MANUAL_COMMAND_MODEL_H_
