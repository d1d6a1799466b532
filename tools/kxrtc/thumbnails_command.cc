#include <json/value.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "files/link_target.h"
#include "record/index/record_text.h"
#include "record/show/record_documents.h"
#include "record/show/record_key_frames.h"
#include "record/show/storyboard.h"
#include "record/timing/time_text.h"
#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/examine_record.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/json_line.h"
#include "tools/kxrtc/media_loader.h"
#include "tools/kxrtc/path_options.h"
#include "tools/kxrtc/size_text.h"
#include "tools/kxrtc/stop_signals.h"
#include "tools/kxrtc/thumbnail_files.h"
#include "tools/kxrtc/time_option.h"
#include "tools/kxrtc/usage_errors.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::CountText;
using kxrtc_host::ImageSize;
using kxrtc_host::PictureKind;
using kxrtc_host::SecondsText;

constexpr char kPosterFile[] = "poster.jpg";
constexpr char kCuesFile[] = "storyboard.vtt";

constexpr size_t kDefaultPictures = 200;
constexpr int64_t kDefaultShortestUs = 2000000;
constexpr int64_t kShortestIntervalUs = 100000;
constexpr int64_t kLongestIntervalUs = 86400000000;

constexpr uint32_t kSmallestTileSide = 16;
constexpr uint32_t kLargestTileWidth = 640;
constexpr uint32_t kLargestTileHeight = 640;

struct ThumbnailsOptions {
  std::string input;
  std::string out_dir;
  std::optional<size_t> count;
  std::optional<int64_t> interval_us;
  ImageSize tile = {160, 90};
  bool force = false;
  bool json = false;
};

std::string SheetFile(size_t sheet) { return kxrtc_host::Text("storyboard-%03zu.jpg", sheet + 1); }

CLI::Validator CountValidator() {
  const std::string range = kxrtc_host::Text("1-%zu", kxrtc_host::kMaxStoryboardPictures);
  return CLI::Validator(
      [range](const std::string& text) -> std::string {
        size_t count = 0;
        const bool is_count = CLI::detail::lexical_cast(text, count) && text[0] != '-' &&
                              count >= 1 && count <= kxrtc_host::kMaxStoryboardPictures;
        return is_count ? "" : text + " is not a number of pictures, " + range;
      },
      range);
}

CLI::Validator TileSizeValidator() {
  return CLI::Validator(
      [](const std::string& text) -> std::string {
        ImageSize size;
        if (!ParseSize(text, &size.width, &size.height))
          return text + " is not a size such as 160x90";
        const bool fits = std::min(size.width, size.height) >= kSmallestTileSide &&
                          size.width <= kLargestTileWidth && size.height <= kLargestTileHeight;
        if (fits && size.width % 2 == 0 && size.height % 2 == 0) return "";
        return kxrtc_host::Text("%s is not from %ux%u to %ux%u with two even numbers", text.c_str(),
                                kSmallestTileSide, kSmallestTileSide, kLargestTileWidth,
                                kLargestTileHeight);
      },
      "WxH");
}

const char* NameOf(PictureKind kind) {
  switch (kind) {
    case PictureKind::kGood:
      return "good";
    case PictureKind::kBlack:
      return "black";
    default:
      return "icon";
  }
}

// One run of `kxrtc thumbnails`.
class ThumbnailsRun {
 public:
  explicit ThumbnailsRun(const ThumbnailsOptions& options)
      : options_(options),
        files_(options.out_dir, options.force, [this] { return !signals_->IsStopped(); }) {}

  ExitStatus Run() {
    std::error_code ignored;
    const bool is_record = std::filesystem::is_directory(options_.input, ignored);
    std::string error;
    kxrtc_host::RecordSummary summary;
    kxrtc_host::KeyFrameChoice key_frames;
    if (is_record) {
      kxrtc_host::AnalysisOptions analysis;
      analysis.key_frames = &key_frames;
      if (!ExamineRecord(options_.input, SoundExamination::kNone, &summary, &error, analysis)) {
        return Fail(kExitFailure, error);
      }
      if (summary.index_records == 0) return FailWithoutRecord(options_.input);
      if (key_frames.kept().empty()) return FailWithoutPicture();
    }
    const kxrtc_host::Media* const media = LoadMedia(&error);
    if (media == nullptr) return Fail(kExitFailure, error);
    if (is_record) {
      source_ = std::make_unique<kxrtc_host::RecordKeyFrames>(summary, key_frames);
    } else {
      source_ = media->OpenMp4KeyFrames(options_.input, &error);
      if (source_ == nullptr) return Fail(kExitRecordUnreadable, error);
    }
    return MakeFiles(*media);
  }

 private:
  ExitStatus FailWithoutPicture() const {
    return Fail(kExitNothingToPlay, options_.input + " has no picture that can be shown");
  }

  int64_t Interval() const {
    if (options_.interval_us) return *options_.interval_us;
    const auto count = static_cast<int64_t>(options_.count.value_or(kDefaultPictures));
    const int64_t even_us = std::max<int64_t>((source_->duration_us() - 1) / count + 1, 1);
    return options_.count ? even_us : std::max(even_us, kDefaultShortestUs);
  }

  ExitStatus RefuseInterval() const {
    constexpr int64_t kSecondUs = 1000000;
    const int64_t most = kxrtc_host::kMaxStoryboardPictures;
    const int64_t seconds = (source_->duration_us() / most + kSecondUs) / kSecondUs;
    return RefuseUsage(
        "thumbnails",
        kxrtc_host::Text("--interval %s makes more than %lld pictures; the shortest for "
                         "this one is --interval %lld",
                         SecondsText(*options_.interval_us).c_str(), static_cast<long long>(most),
                         static_cast<long long>(seconds)),
        options_.json);
  }

  ExitStatus MakeFiles(const kxrtc_host::Media& media) {
    const int64_t interval_us = Interval();
    if (kxrtc_host::CountPictures(source_->duration_us(), interval_us) >
        kxrtc_host::kMaxStoryboardPictures) {
      return RefuseInterval();
    }
    signals_.emplace();
    if (!files_.Open()) return TellFailure();
    const kxrtc_host::SheetLayout layout(options_.tile);
    const auto painter = media.MakeStoryboardPainter(options_.tile, layout.SizeOf(layout.tiles()));
    kxrtc_host::Storyboard storyboard;
    const auto write_sheet = [&](const std::string& jpeg) {
      return files_.Write(SheetFile(storyboard.sheets.size()), jpeg);
    };
    const kxrtc_host::IsWanted is_wanted = [this] { return !signals_->IsStopped(); };
    if (!MakeStoryboard(source_.get(), painter.get(), layout, interval_us, is_wanted, write_sheet,
                        &storyboard)) {
      return TellFailure();
    }
    if (storyboard.poster.jpeg.empty()) return FailWithoutPicture();
    if (!files_.Write(kCuesFile, StoryboardWebVtt(storyboard, layout, SheetFile)) ||
        !files_.Write(kPosterFile, storyboard.poster.jpeg) || !files_.Commit()) {
      return TellFailure();
    }
    return Tell(storyboard);
  }

  ExitStatus TellFailure() {
    if (signals_->IsStopped()) return Fail(signals_->exit_status(), "stopped; no file was written");
    if (files_.error().empty()) return Fail(kExitFailure, "there is not enough memory");
    return Fail(files_.is_refused() ? kExitOutputRefused : kExitOutputFailed, files_.error());
  }

  ExitStatus Tell(const kxrtc_host::Storyboard& storyboard) const {
    if (!files_.warning().empty()) Warn(files_.warning());
    const PictureKind kind = storyboard.poster.kind;
    if (kind != PictureKind::kGood) {
      Warn(kind == PictureKind::kBlack ? "all pictures are black, the poster too"
                                       : "nobody is seen: the poster shows the icon");
    }
    if (storyboard.unreadable_pictures > 0) {
      Warn(CountText(storyboard.unreadable_pictures, "picture") +
           " could not be decoded; the one before is shown instead");
    }
    if (options_.json) {
      PrintJsonLine(DocumentOf(storyboard));
    } else {
      for (const ThumbnailFile& file : files_.files()) {
        std::printf("%-20s  %s\n", file.name.c_str(), kxrtc_host::BytesText(file.bytes).c_str());
      }
      std::printf("%s, poster of %s\n", CountText(storyboard.cues.size(), "cue").c_str(),
                  kxrtc_host::ClockText(storyboard.poster.time_us, 3).c_str());
    }
    return kExitOk;
  }

  Json::Value DocumentOf(const kxrtc_host::Storyboard& storyboard) const {
    Json::Value document = kxrtc_host::Document("kxrtc.thumbnails");
    document["input"] = options_.input;
    document["folder"] = options_.out_dir;
    document["duration_us"] = Json::Int64{source_->duration_us()};
    Json::Value& poster = document["poster"];
    poster["file"] = kPosterFile;
    poster["time_us"] = Json::Int64{storyboard.poster.time_us};
    poster["width"] = storyboard.poster.size.width;
    poster["height"] = storyboard.poster.size.height;
    poster["shows"] = NameOf(storyboard.poster.kind);
    Json::Value& board = document["storyboard"];
    board["file"] = kCuesFile;
    board["cues"] = Json::UInt64{storyboard.cues.size()};
    board["tile_width"] = options_.tile.width;
    board["tile_height"] = options_.tile.height;
    board["unreadable_pictures"] = Json::UInt64{storyboard.unreadable_pictures};
    Json::Value& sheets = board["sheets"] = Json::arrayValue;
    for (size_t i = 0; i < storyboard.sheets.size(); ++i) {
      Json::Value sheet;
      sheet["file"] = SheetFile(i);
      sheet["width"] = storyboard.sheets[i].width;
      sheet["height"] = storyboard.sheets[i].height;
      sheets.append(sheet);
    }
    return document;
  }

  const ThumbnailsOptions options_;
  // Until something is written a signal may end the program.
  std::optional<StopSignals> signals_;
  ThumbnailFiles files_;
  std::unique_ptr<kxrtc_host::KeyFrameSource> source_;
};

}  // namespace

void AddThumbnailsCommand(CLI::App& app, PathOptions* paths, int* exit_status) {
  auto options = std::make_shared<ThumbnailsOptions>();
  CLI::App* command = app.add_subcommand(
      "thumbnails", "Make a poster and a storyboard of a record or an MP4, for web players");
  paths
      ->AddRecord(command, "RECORD_DIR|IN.mp4", &options->input,
                  "Folder of the record, or an MP4 file")
      ->type_name(kFileValue);
  paths->AddFile(command, "OUT_DIR", &options->out_dir, "Folder for the pictures")
      ->type_name(kFolderValue);
  CLI::Option* const count =
      command
          ->add_option("--count", options->count,
                       "Most pictures of the storyboard (default 200, at least 2 s apart)")
          ->check(CountValidator());
  command
      ->add_option_function<std::string>(
          "--interval",
          [options](const std::string& text) {
            int64_t interval_us = 0;
            (void)kxrtc_host::ParseTime(text, &interval_us);
            options->interval_us = interval_us;
          },
          "Seconds between two pictures")
      ->check(TimeValidator(kShortestIntervalUs, kLongestIntervalUs))
      ->excludes(count);
  command
      ->add_option_function<std::string>(
          "--size",
          [options](const std::string& text) {
            (void)ParseSize(text, &options->tile.width, &options->tile.height);
          },
          "Size of each picture of the storyboard (default 160x90)")
      ->check(TileSizeValidator());
  command->add_flag("-f,--force", options->force, "Replace files of OUT_DIR that exist");
  command->add_flag("-j,--json", options->json, "Print a JSON document");
  command->footer(
      "OUT_DIR gets poster.jpg, storyboard.vtt and its pictures, storyboard-001.jpg and\n"
      "so on.\n"
      "Example:\n  kxrtc thumbnails ~/records/monday monday-pictures\n");
  command->callback([options, exit_status] { *exit_status = ThumbnailsRun(*options).Run(); });
}

}  // namespace kxrtc_tool
