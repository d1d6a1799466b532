#include "tools/kxrtc/path_options.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "files/link_target.h"
#include "host/scenario/scenario_reader.h"
#include "host/scenario/source_access.h"
#include "kxrtc/recording/speaker_record_format.h"
#include "record/index/record_files.h"
#include "record/speakers/timeline_format.h"

namespace kxrtc_tool {
namespace {

// True when the scenario in the file `path` plays `log`. An invalid scenario plays nothing; its
// command reports it.
bool IsPlayed(const std::string& path, const std::string& log) {
  kxrtc_host::Scenario scenario;
  std::string ignored;
  if (!kxrtc_host::LoadScenario(path, &scenario, &ignored)) return false;
  for (const kxrtc_host::ScenarioParticipant& participant : scenario.participants) {
    for (const auto* medium : {&participant.camera, &participant.share, &participant.microphone}) {
      if (*medium && kxrtc_host::LeadToSameFile(kxrtc_host::LocalPath((*medium)->source), log)) {
        return true;
      }
    }
  }
  return false;
}

}  // namespace

CLI::Validator FileNameValidator() {
  return CLI::Validator(
      [](const std::string& name) -> std::string {
        if (name != "-") return "";
        return "- is standard input or output elsewhere, but not here; ./- is a file of this name";
      },
      "");
}

std::string HintAtForce(const std::string& path, bool force) {
  std::error_code ignored;
  const bool is_replaceable = std::filesystem::is_regular_file(path, ignored);
  return !force && is_replaceable ? "; --force replaces it" : "";
}

std::string ConflictWithRecord(const std::string& folder, const std::string& path) {
  const std::string prefix = kxrtc_host::RecordFolderPath(folder);
  std::vector<std::string> files = {prefix + kxrtc_host::kSpeakerTimelineFileName};
  for (const char* extension : {kxrtc::kDescriptorFileExtension, kxrtc::kIndexFileExtension,
                                kxrtc::kVideoFileExtension, kxrtc::kAudioFileExtension}) {
    files.push_back(kxrtc::SpeakerRecordFilePath(prefix, extension));
  }
  for (const std::string& file : files) {
    if (kxrtc_host::LeadToSameFile(file, path)) return " is a file of the record";
  }
  return "";
}

CLI::Option* PathOptions::AddRecord(CLI::App* command, const char* name, std::string* path,
                                    const char* description) {
  return Add(Kind::kRecord, command, name, path, description);
}

CLI::Option* PathOptions::AddArchives(CLI::App* command, const char* name,
                                      std::vector<std::string>* paths, const char* description) {
  CLI::Option* option = command->add_option(name, *paths, description)->required();
  option->type_name(kFolderValue)->check(FileNameValidator());
  archives_.push_back(option);
  return option;
}

CLI::Option* PathOptions::AddPathList(CLI::App* command, const char* name, std::string* path,
                                      const char* description) {
  CLI::Option* option = command->add_option(name, *path, description)->type_name(kFileValue);
  options_.push_back({Kind::kFile, option, path});
  archives_.push_back(option);
  return option;
}

CLI::Option* PathOptions::AddFile(CLI::App* command, const char* name, std::string* path,
                                  const char* description) {
  return Add(Kind::kFile, command, name, path, description);
}

CLI::Option* PathOptions::AddScenario(CLI::App* command, const char* name, std::string* path,
                                      const char* description) {
  return Add(Kind::kScenario, command, name, path, description);
}

CLI::Option* PathOptions::Add(Kind kind, CLI::App* command, const char* name, std::string* path,
                              const char* description) {
  CLI::Option* option = command->add_option(name, *path, description)->required(name[0] != '-');
  option->type_name(kind == Kind::kRecord ? kFolderValue : kFileValue)->check(FileNameValidator());
  options_.push_back({kind, option, path});
  return option;
}

std::string PathOptions::ConflictOfLog(const std::string& log) const {
  for (const PathOption& given : options_) {
    if (given.option->empty()) continue;
    if (given.kind == Kind::kRecord) {
      if (std::string conflict = ConflictWithRecord(*given.path, log); !conflict.empty()) {
        return conflict;
      }
    }
    if (kxrtc_host::LeadToSameFile(*given.path, log)) {
      return " is also given as " + given.option->get_name();
    }
    if (given.kind == Kind::kScenario && IsPlayed(*given.path, log)) {
      return " is played by " + *given.path;
    }
  }
  const std::string target = kxrtc_host::LinkTarget(log);
  const std::string name = target.substr(target.rfind('/') + 1);
  const bool is_record_name =
      kxrtc_host::IsRecordFileName(name) || name == kxrtc_host::kSpeakerTimelineFileName;
  for (const CLI::Option* archive : archives_) {
    if (!archive->empty() && is_record_name) return " has the name of a file of a record";
  }
  return "";
}

}  // namespace kxrtc_tool
