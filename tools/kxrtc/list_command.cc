#include <json/value.h>

#include <CLI/CLI.hpp>
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "host/result/manifest.h"
#include "host/result/work_due.h"
#include "record/archive/output_name.h"
#include "record/archive/record_finder.h"
#include "record/archive/record_glance.h"
#include "record/index/record_files.h"
#include "record/index/record_text.h"
#include "record/show/list_document.h"
#include "record/timing/time_text.h"
#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/json_line.h"
#include "tools/kxrtc/named_values.h"
#include "tools/kxrtc/terminal_colour.h"
#include "tools/kxrtc/terminal_text.h"
#include "tools/kxrtc/usage_errors.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::ArchivedRecord;
using kxrtc_host::RecordFolderPath;
using kxrtc_host::RecordState;

struct ListOptions {
  std::vector<std::string> roots;
  std::string out;
  std::string manifest;
  bool pending = false;
  bool json = false;
  bool print0 = false;
  std::vector<std::string> columns;
};

// What --columns may name: the members of the document that are one text or number.
const std::vector<std::string> kColumns = {"bytes", "due", "length_us", "output", "state"};

// The folder itself without links; `path` where there is none.
std::filesystem::path RealFolder(const std::string& path) {
  std::error_code error;
  const std::filesystem::path real = std::filesystem::canonical(path, error);
  return error ? std::filesystem::path(path) : real;
}

std::string FolderName(const std::string& path) {
  const std::string name = RealFolder(path).filename().string();
  return name.empty() ? "root" : name;
}

// Why the roots cannot be listed together, or empty: a record would come twice, or two records
// would get one output.
std::string ConflictOfRoots(const std::vector<std::string>& roots) {
  for (const std::string& one : roots) {
    const std::string outer = RecordFolderPath(RealFolder(one).string());
    for (const std::string& other : roots) {
      if (&one == &other) continue;
      if (RecordFolderPath(RealFolder(other).string()).compare(0, outer.size(), outer) == 0) {
        return other + " is inside " + one + ": give one of them";
      }
      if (FolderName(one) == FolderName(other)) {
        return one + " and " + other + " have the same name: list one at a time";
      }
    }
  }
  return "";
}

// In a column of its own.
std::string ShownState(RecordState state) {
  const std::string column = kxrtc_host::Text("%-8s", kxrtc_host::RecordStateName(state));
  if (state == RecordState::kDamaged) return Coloured(Colour::kRed, column);
  return state == RecordState::kTorn ? Coloured(Colour::kYellow, column) : column;
}

class Lister {
 public:
  explicit Lister(const ListOptions& options) : options_(options) {}

  ExitStatus Run() {
    if (!options_.manifest.empty()) {
      manifest_.emplace();
      if (!manifest_->Open(options_.manifest, kxrtc_host::SharedLines::Access::kReadOnly) ||
          !manifest_->ReadAll()) {
        return Fail(kExitRecordUnreadable, manifest_->error_text());
      }
    }
    for (const std::string& root : options_.roots) List(root);
    if (!options_.json && !options_.print0) PrintEnd();
    return status_;
  }

 private:
  void List(const std::string& root) {
    kxrtc_host::RecordSearch search;
    // Records below a record, and those of several roots, stand below the name of their root.
    std::string prefix = options_.roots.size() > 1 ? FolderName(root) : "";
    search.on_record = [&](const std::string& path, int folder) {
      if (path.empty()) prefix = FolderName(root);
      ArchivedRecord record;
      record.folder = path.empty() ? root : RecordFolderPath(root) + path;
      record.glance = kxrtc_host::GlanceAtRecord(folder);
      const bool needs_separator = !prefix.empty() && !path.empty();
      Add(prefix + (needs_separator ? "/" : "") + path, &record);
      return std::ferror(stdout) == 0;
    };
    search.on_unreadable = [&](const std::string& path, const std::string& why) {
      status_ = Fail(kExitRecordUnreadable, (path.empty() ? root : RecordFolderPath(root) + path) +
                                                ": " + why + "; records below it may be missing");
    };
    kxrtc_host::FindRecords(root, search);
  }

  // `path`: the record in the tree of the outputs.
  void Add(const std::string& path, ArchivedRecord* record) {
    if (!options_.out.empty()) {
      const std::string name = names_.Of(path);
      if (name.empty()) {
        status_ = Fail(kExitRecordUnreadable,
                       record->folder + " would get the output of another record: rename it");
        return;
      }
      record->output = RecordFolderPath(options_.out) + name;
      record->is_due =
          kxrtc_host::IsWorkDue(record->glance, record->output, manifest_ ? &*manifest_ : nullptr);
    }
    if (options_.pending && !record->is_due) return;
    if (options_.print0) {
      PrintZeroEnded(*record);
    } else if (options_.json) {
      std::printf("%s", JsonLine(kxrtc_host::ListDocument(*record)).c_str());
    } else {
      PrintRow(*record);
    }
  }

  // The columns, a tab behind each, then the folder, which may have any byte but zero.
  void PrintZeroEnded(const ArchivedRecord& record) const {
    const Json::Value document =
        options_.columns.empty() ? Json::Value() : kxrtc_host::ListDocument(record);
    std::string text;
    for (const std::string& column : options_.columns) text += document[column].asString() + "\t";
    text += record.folder;
    (void)std::fwrite(text.c_str(), 1, text.size() + 1, stdout);
  }

  void PrintRow(const ArchivedRecord& record) {
    if (records_ == 0) {
      std::printf("%-8s  %9s  %9s  %-3s  %s\n", "STATE", "LENGTH", "SIZE", "DUE", "RECORD");
    }
    const uint64_t bytes = record.glance.sizes.Sum();
    std::string names = TerminalText(record.folder);
    if (!record.output.empty()) names += " -> " + TerminalText(record.output);
    std::printf("%s  %9s  %9s  %-3s  %s\n", ShownState(record.glance.state).c_str(),
                kxrtc_host::ClockText(record.glance.length_us, 0).c_str(),
                kxrtc_host::BytesText(bytes).c_str(),
                record.output.empty() ? "-" : (record.is_due ? "yes" : "no"), names.c_str());
    ++records_;
    due_ += record.is_due ? 1 : 0;
    bytes_ += bytes;
  }

  void PrintEnd() const {
    std::printf("%s, %s", kxrtc_host::CountText(records_, "record").c_str(),
                kxrtc_host::BytesText(bytes_).c_str());
    if (!options_.out.empty()) std::printf(", %" PRIu64 " due", due_);
    std::printf("\n");
  }

  const ListOptions& options_;
  kxrtc_host::OutputNames names_;
  std::optional<kxrtc_host::Manifest> manifest_;
  ExitStatus status_ = kExitOk;
  uint64_t records_ = 0;
  uint64_t due_ = 0;
  uint64_t bytes_ = 0;
};

ExitStatus List(const ListOptions& options) {
  if (const std::string conflict = ConflictOfRoots(options.roots); !conflict.empty()) {
    return RefuseUsage("list", conflict, options.json);
  }
  return Lister(options).Run();
}

}  // namespace

void AddListCommand(CLI::App& app, PathOptions* paths, int* exit_status) {
  auto options = std::make_shared<ListOptions>();
  CLI::App* command = app.add_subcommand("list", "Find the records below folders");
  paths->AddArchives(command, "ROOT", &options->roots, "Folders that contain records");
  CLI::Option* out = paths
                         ->AddFile(command, "-o,--out", &options->out,
                                   "Folder of the MP4s: also tell the MP4 of each record, and "
                                   "whether it is due")
                         ->type_name(kFolderValue);
  command
      ->add_flag("--pending", options->pending,
                 "Only records whose MP4 is missing or was made of another state of the record")
      ->needs(out);
  paths
      ->AddFile(command, "--manifest", &options->manifest,
                "What kxrtc transcode --manifest wrote: an MP4 that it does not tell of, or whose\n"
                "command failed, is due too")
      ->needs(out);
  CLI::Option* json =
      command->add_flag("-j,--json", options->json, "Print one line of JSON a record");
  CLI::Option* print0 =
      command
          ->add_flag("-0,--print0", options->print0, "Print folders only, a zero byte behind each")
          ->excludes(json);
  command
      ->add_option("--columns", options->columns,
                   "With --print0: members of the JSON document before each\n"
                   "folder, a tab behind each")
      ->allow_extra_args(false)
      ->delimiter(',')
      ->needs(print0)
      ->check(OneOf(kColumns));
  command->footer(
      "Reads both ends of each index only. A record that was made into an MP4 with\n"
      "other options of transcode is not due; kxrtc transcode --if-needed compares\n"
      "them.\n"
      "\n"
      "Examples:\n"
      "  kxrtc list ~/records\n"
      "  kxrtc list ~/records --out ~/films --pending\n"
      "  kxrtc list ~/records --print0 | xargs -0 -n 1 kxrtc verify --quick\n");
  command->callback([options, exit_status] { *exit_status = List(*options); });
}

}  // namespace kxrtc_tool
