// kxrtc_manual: writes the man pages of kxrtc and its completions for shells, from the definitions
// of its options. Part of the build, not installed. usage: kxrtc_manual EXIT_STATUSES.md DATE
// OUTPUT_FOLDER
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/kxrtc_manual/command_model.h"
#include "tools/kxrtc_manual/completions.h"
#include "tools/kxrtc_manual/man_page.h"

namespace {

std::string ReadText(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteText(const std::filesystem::path& path, const std::string& text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.string());
}

// `folder` becomes what share/ of an installation gets.
void WriteManual(const std::string& status_page, const std::string& date,
                 const std::filesystem::path& folder, const std::vector<std::string>& help_files) {
  kxrtc_manual::ManualFacts facts;
  facts.version = KXRTC_VERSION;
  facts.date = date;
  facts.exit_statuses = kxrtc_manual::ReadExitStatuses(ReadText(status_page));
  if (facts.exit_statuses.empty()) {
    throw std::runtime_error(status_page + " has no table of exit statuses");
  }
  const kxrtc_manual::ProgramModel model = kxrtc_manual::ReadProgram();
  std::filesystem::remove_all(folder);
  const std::filesystem::path pages = folder / "man" / "man1";
  WriteText(pages / "kxrtc.1", kxrtc_manual::ProgramPage(model, facts));
  for (const kxrtc_manual::CommandModel& command : model.commands) {
    WriteText(pages / ("kxrtc-" + command.name + ".1"),
              kxrtc_manual::CommandPage(model, command, facts));
  }
  for (const std::string& file : help_files) {
    kxrtc_manual::ScriptHelp help;
    if (!kxrtc_manual::ReadScriptHelp(ReadText(file), &help)) {
      throw std::runtime_error(file + " is no help text with a usage line and options");
    }
    WriteText(pages / (help.command.name + ".1"), kxrtc_manual::ScriptPage(help, facts));
  }
  WriteText(folder / "bash-completion" / "completions" / "kxrtc",
            kxrtc_manual::BashCompletion(model));
  WriteText(folder / "fish" / "vendor_completions.d" / "kxrtc.fish",
            kxrtc_manual::FishCompletion(model));
  WriteText(folder / "zsh" / "vendor-completions" / "_kxrtc", kxrtc_manual::ZshCompletion(model));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr,
                 "usage: kxrtc_manual EXIT_STATUSES.md DATE OUTPUT_FOLDER [HELP_OF_A_SCRIPT...]\n");
    return 2;
  }
  try {
    WriteManual(argv[1], argv[2], argv[3], {argv + 4, argv + argc});
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kxrtc_manual: %s\n", error.what());
    return 1;
  }
}
