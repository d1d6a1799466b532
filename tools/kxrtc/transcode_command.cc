#include <fcntl.h>
#include <json/value.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "host/mp4/encoder_choice.h"
#include "host/mp4/mp4_factory.h"
#include "host/mp4/writer_options.h"
#include "host/replay/transcoder_choice.h"
#include "host/result/record_origin.h"
#include "record/archive/record_glance.h"
#include "record/index/record_files.h"
#include "record/predict/lead_in.h"
#include "record/predict/replayed_pictures.h"
#include "record/predict/transcode_outcome.h"
#include "record/repair/repaired_copy.h"
#include "record/timing/time_text.h"
#include "tools/kxrtc/commands.h"
#include "tools/kxrtc/encoder_option.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/media_loader.h"
#include "tools/kxrtc/named_values.h"
#include "tools/kxrtc/outcome_journal.h"
#include "tools/kxrtc/output_claim.h"
#include "tools/kxrtc/part_document.h"
#include "tools/kxrtc/part_options.h"
#include "tools/kxrtc/picture_options.h"
#include "tools/kxrtc/progress_report.h"
#include "tools/kxrtc/speaker_outputs.h"
#include "tools/kxrtc/stop_signals.h"
#include "tools/kxrtc/time_option.h"
#include "tools/kxrtc/tool_log.h"
#include "tools/kxrtc/transcode_messages.h"
#include "tools/kxrtc/transcoder_watch.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::Mp4WriterStatus;
using kxrtc_host::TranscodeOutcome;
using kxrtc_host::WriterEnd;

constexpr char kTranscodeFooter[] =
    "OUT.mp4 appears only when it is complete. Ctrl-C leaves no file behind.\n"
    "A record cut short, for example by a crash, gives an MP4 of everything before\n"
    "that place, and status 7.\n"
    "\n"
    "Examples:\n"
    "  kxrtc transcode ~/records/monday monday.mp4\n"
    "  kxrtc transcode ~/records/monday monday.mp4 --video copy --force\n"
    "  kxrtc transcode ~/records/monday monday.mp4 --size source --frame-rate 30\n"
    "  kxrtc transcode ~/records/monday monday.mp4 --captions monday.vtt\n"
    "  kxrtc transcode ~/records/monday monday.m4a --video none\n"
    "  kxrtc transcode ~/records/monday monday.mp4 --from 5:00 --cut 1:02:10-1:03:25\n"
    "  kxrtc transcode ~/records/monday monday.mp4 --json | jq .percent\n";

const std::map<std::string, kxrtc_host::VideoMode> kVideoModes = {
    {"encode", kxrtc_host::VideoMode::kEncode},
    {"copy", kxrtc_host::VideoMode::kCopy},
    {"none", kxrtc_host::VideoMode::kNone}};

const std::map<std::string, kxrtc_host::StillShare> kStillShares = {
    {"picture", kxrtc_host::StillShare::kPicture}, {"icon", kxrtc_host::StillShare::kIcon}};

// The name that the option gives to `value`.
template <typename Value>
std::string NameOf(const std::map<std::string, Value>& names, Value value) {
  return std::find_if(names.begin(), names.end(),
                      [=](const auto& name) { return name.second == value; })
      ->first;
}

// Of the options in the origin, where the MP4 is made of a repaired copy.
constexpr char kRepairMember[] = "repair";

constexpr int64_t kLongestChapterMinUs = int64_t{86400} * 1000000;

WriterEnd EndOf(const Mp4WriterStatus& status) {
  if (status.file_written) return {WriterEnd::Kind::kWritten, ""};
  switch (status.failure) {
    case kxrtc_host::WriterFailure::kNothing:
    case kxrtc_host::WriterFailure::kNoPart:
      return {WriterEnd::Kind::kNothing, status.failure_text};
    case kxrtc_host::WriterFailure::kDiscarded:
      return {WriterEnd::Kind::kDiscarded, status.failure_text};
    default:
      return {WriterEnd::Kind::kFailed, status.failure_text};
  }
}

struct TranscodeOptions {
  std::string record_dir;
  std::string output;
  kxrtc_host::Mp4SinkWriterOptions writer;  // Without bounds and tags.
  PictureOptions picture;
  std::string encoder;  // Empty: not chosen.
  SpeakerOutputOptions speakers;
  bool quiet = false;
  bool json = false;
  bool prefer_hardware = true;
  bool if_needed = false;
  bool accept_cut = false;
  bool repair = false;
  JournalOptions journal;
};

// All that decides which MP4 a record gives.
Json::Value OptionsOfOrigin(const TranscodeOptions& options) {
  Json::Value value;
  value["video"] = NameOf(kVideoModes, options.writer.video_mode);
  value["still_share"] = NameOf(kStillShares, options.writer.still_share);
  value["preset"] = options.writer.preset;
  value["check_sound"] = options.writer.check_sound;
  value["hardware"] = options.prefer_hardware;
  value["chapters"] = options.speakers.chapters;
  value["chapter_min_us"] = Json::Int64{options.speakers.shortest_chapter_us};
  value["metadata"] = options.speakers.metadata;
  AddToOrigin(options.picture, &value);
  if (!options.encoder.empty()) value["encoder"] = options.encoder;
  if (!options.writer.parts.IsWhole()) value["parts"] = PartsDocument(options.writer.parts);
  return value;
}

void RefusePictureOptions(const TranscodeOptions& options, const CLI::App& command) {
  const std::string picture = options.picture.FirstGiven();
  if (options.writer.video_mode == kxrtc_host::VideoMode::kCopy && !picture.empty()) {
    throw CLI::ValidationError(picture,
                               "copied pictures stay as they are; leave it out, or use "
                               "--video encode");
  }
  if (options.writer.video_mode != kxrtc_host::VideoMode::kNone) return;
  std::vector<std::string> names = {"--still-share", "--preset", "--no-hardware", "--encoder"};
  if (!picture.empty()) names.push_back(picture);
  for (const std::string& name : names) {
    if (command.count(name) == 0) continue;
    throw CLI::ValidationError(name,
                               "is about pictures, and --video none keeps none; leave it out");
  }
}

// Refuses what makes no sense together.
void CheckOptions(const CLI::App& command, const TranscodeOptions& options) {
  RefuseEmptyParts(options.writer.parts);
  RefusePictureOptions(options, command);
  CheckPictureOptions(options.picture);
  CheckEncoderOption(command, options.encoder, options.writer, options.prefer_hardware);
}

// One transcoding from start to exit status, through the library's exported interface.
// Threads: belongs to the main thread.
class TranscodeRun {
 public:
  explicit TranscodeRun(const TranscodeOptions& options)
      : options_(options),
        messages_(options.output, options.quiet, options.json),
        journal_(options.journal, options.record_dir, options.output),
        speakers_(options.speakers),
        progress_(ChooseProgressStyle(options.quiet, options.json)) {}

  // Blocks until the file is finished, a failure occurs, or Ctrl-C.
  ExitStatus Run() {
    if (const std::string error = journal_.Open(); !error.empty()) {
      return messages_.Failure(kExitOutputRefused, error);
    }
    const ExitStatus status = Make();
    return journal_.is_kept() ? Note(status) : status;
  }

 private:
  ExitStatus Make() {
    LookIntoFiles();
    const bool repairs = options_.repair && NeedsRepair();
    origin_options_ = OptionsOfOrigin(options_);
    if (repairs) origin_options_[kRepairMember] = true;
    if (!repairs || !facts_.output_conflict.empty()) {
      if (const auto outcome = TranscodeOutcome::BeforeStart(facts_)) return Tell(*outcome);
    }
    origin_ = kxrtc_host::RecordOrigin(facts_.folder, origin_options_);
    signals_.emplace();
    if (const auto status = Claim()) return *status;
    if (repairs) {
      if (const auto status = Repair()) return *status;
    }
    speakers_.Read(facts_.folder);
    std::string error = speakers_.OpenCaptions(facts_.folder, options_.output, CaptionsToReplace(),
                                               [this] { return !signals_->IsStopped(); });
    if (!error.empty()) return messages_.Failure(kExitOutputRefused, error);
    const kxrtc_host::Media* const media = LoadMedia(&error);
    if (media == nullptr) return messages_.Failure(kExitFailure, error);
    return Tell(Transcode(*media));
  }

  void LookIntoFiles() {
    facts_.folder =
        is_repaired_ ? copy_.folder() : kxrtc_host::RecordFolderPath(options_.record_dir);
    facts_.output = options_.output;
    facts_.output_conflict = ConflictWithRecord(facts_.folder, options_.output);
    kxrtc_host::RecordFiles files;
    files.Open(facts_.folder);
    LookIntoRecord(&files, &facts_);
    if (options_.writer.video_mode == kxrtc_host::VideoMode::kCopy &&
        options_.writer.parts.from_us > 0 && facts_.outline) {
      lead_in_us_ = kxrtc_host::FindLeadIn(&files, options_.writer.parts.from_us);
    }
  }

  bool NeedsRepair() const {
    const int folder = ::open(facts_.folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) return false;
    const kxrtc_host::RecordState state = kxrtc_host::GlanceAtRecord(folder).state;
    ::close(folder);
    return state == kxrtc_host::RecordState::kTorn || state == kxrtc_host::RecordState::kDamaged;
  }

  // From here on a repaired copy is the record. Where it cannot be repaired, the record itself has
  // to do. The status if the run ends here.
  std::optional<ExitStatus> Repair() {
    const kxrtc_host::RepairResult result =
        copy_.Make(options_.record_dir, options_.output, [this] { return !signals_->IsStopped(); });
    if (signals_->signal_number() != 0) {
      return messages_.Failure(signals_->exit_status(), "stopped; no MP4 was made");
    }
    if (result.target_failed) return messages_.Failure(kExitOutputFailed, result.error);
    if (result.target_refused) return messages_.Failure(kExitOutputRefused, result.error);
    if (!result.warning.empty()) messages_.Warning(result.warning);
    is_repaired_ = result.repaired;
    if (is_repaired_) {
      LookIntoFiles();
    } else {
      messages_.Warning(options_.record_dir + " cannot be repaired: " + result.error);
    }
    const auto outcome = TranscodeOutcome::BeforeStart(facts_);
    if (outcome) return Tell(*outcome);
    return std::nullopt;
  }

  // The status if the output is not to be made, or not here.
  std::optional<ExitStatus> Claim() {
    OutputClaim::When when = OutputClaim::When::kAlways;
    if (options_.if_needed) {
      when = speakers_.LacksCaptions(options_.output) ? OutputClaim::When::kIfOurs
                                                      : OutputClaim::When::kIfNeeded;
    }
    switch (claim_.Take(options_.output, origin_, when, journal_.is_kept())) {
      case OutputClaim::Kind::kMake:
        return std::nullopt;
      case OutputClaim::Kind::kUpToDate:
        return TellUpToDate();
      case OutputClaim::Kind::kBusy:
        return messages_.Failure(kExitOutputBusy, claim_.text());
      case OutputClaim::Kind::kForeign:
        break;
    }
    if (options_.writer.replace_existing) return std::nullopt;
    return messages_.Failure(kExitOutputRefused, claim_.text());
  }

  // Notes how the run ended. A run that was stopped, or found another one at work, ended nothing.
  ExitStatus Note(ExitStatus status) {
    if (status == kExitOutputBusy || (signals_ && signals_->signal_number() != 0)) return status;
    JournalEntry entry;
    entry.status = status;
    entry.options = origin_options_;
    entry.is_repaired = is_repaired_;
    const bool is_done = status == kExitOk || status == kExitRecordIncomplete;
    if (is_done) {
      entry.outcome = writer_.file_written ? kxrtc_host::ManifestOutcome::kMade
                                           : kxrtc_host::ManifestOutcome::kFound;
      entry.origin = origin_;
    }
    if (!signals_) signals_.emplace();
    return journal_.Tell(entry, &messages_, &*signals_);
  }

  bool MayReplace() const { return options_.writer.replace_existing || claim_.replaces(); }

  SpeakerOutputs::Replace CaptionsToReplace() const {
    if (options_.writer.replace_existing) return SpeakerOutputs::Replace::kAnything;
    return options_.if_needed ? SpeakerOutputs::Replace::kCaptions
                              : SpeakerOutputs::Replace::kNothing;
  }

  uint64_t CountPicturesOfRecord() const {
    kxrtc_host::RecordFiles files;
    files.Open(facts_.folder);
    return CountReplayedPictures(&files);
  }

  TranscodeOutcome Transcode(const kxrtc_host::Media& media) {
    kxrtc_host::Mp4SinkWriterOptions writer_options = options_.writer;
    writer_options.record_folder = facts_.folder;
    writer_options.picture = ResolvePicture(options_.picture, facts_.folder, &picture_warning_);
    if (!options_.encoder.empty()) ChooseEncoder(options_.encoder, &writer_options);
    writer_options.parts.lead_in_us = lead_in_us_;
    writer_options.tags = speakers_.Tags();
    writer_options.origin = origin_;
    writer_options.replace_existing = MayReplace();
    const auto factory = media.MakeMp4Factory(writer_options, facts_.outline);
    kxrtc_host::RecordFiles files;
    files.Open(facts_.folder);
    const auto transcoder = kxrtc_host::MakeTranscoderFor(files);
    transcoder->SetPreferHW(options_.prefer_hardware);
    TranscoderWatch watch(&*signals_);
    if (transcoder->StartTranscoding(facts_.folder.c_str(), facts_.output.c_str(), &watch,
                                     factory.get())) {
      watch.WaitForEnd([&] { ShowProgress(watch.percent(), factory->media_time_us()); });
    }
    facts_.stopped = signals_->signal_number() != 0;
    facts_.error_code = watch.error_code();
    facts_.first_error = log_.first_error();
    facts_.media_time_us = factory->media_time_us();
    facts_.lacks_pictures = facts_.error_code == kxrtc::kTranscodeErrorReplay &&
                            factory->video_samples() < CountPicturesOfRecord();
    if (!TranscodeOutcome::KeepsFile(facts_)) factory->Discard();
    watch.Finish(transcoder.get(), [&] { factory->Discard(); });
    facts_.stopped = signals_->signal_number() != 0;
    progress_.End();
    facts_.error_code = watch.error_code();
    facts_.first_error = log_.first_error();
    writer_ = factory->status();
    facts_.writer = EndOf(writer_);
    return TranscodeOutcome::AfterStop(facts_);
  }

  int64_t ElapsedUs() const {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() -
                                                                 start_)
        .count();
  }

  void ShowProgress(int percent, int64_t media_us) {
    Progress progress;
    progress.percent = percent;
    progress.media_us = media_us;
    progress.total_us = facts_.outline ? MediaDurationUs(*facts_.outline) : 0;
    // The library counts whole seconds; the written time is more precise.
    if (progress.total_us > 0) {
      progress.percent =
          static_cast<int>(std::min<int64_t>(media_us * 100 / progress.total_us, 99));
    }
    progress.elapsed_us = ElapsedUs();
    progress_.Show(progress);
  }

  ExitStatus StatusOf(TranscodeOutcome::Kind kind) const {
    switch (kind) {
      case TranscodeOutcome::Kind::kWritten:
        return kExitOk;
      case TranscodeOutcome::Kind::kWrittenInPart:
        return options_.accept_cut ? kExitOk : kExitRecordIncomplete;
      case TranscodeOutcome::Kind::kStopped:
        return signals_->exit_status();
      case TranscodeOutcome::Kind::kRecordUnreadable:
        return kExitRecordUnreadable;
      case TranscodeOutcome::Kind::kRecordDamaged:
        return kExitReplayFailed;
      case TranscodeOutcome::Kind::kNothingToPlay:
        return kExitNothingToPlay;
      case TranscodeOutcome::Kind::kOutputRefused:
        return kExitOutputRefused;
      case TranscodeOutcome::Kind::kOutputFailed:
        return kExitOutputFailed;
    }
    return kExitFailure;
  }

  ExitStatus Tell(const TranscodeOutcome& outcome) {
    const ExitStatus status = StatusOf(outcome.kind());
    const Mp4WriterStatus& writer = writer_;
    if (writer.failure == kxrtc_host::WriterFailure::kEncoder) {
      return messages_.Failure(
          kExitFailure, writer.failure_text + "; kxrtc encoders lists what works on this machine");
    }
    // Warnings matter for a written file, or if they explain why it would be empty.
    if (writer.file_written || writer.failure == kxrtc_host::WriterFailure::kNothing) {
      for (const std::string& warning : writer.warnings) messages_.Warning(warning);
    }
    if (writer.file_written) {
      if (!picture_warning_.empty()) messages_.Warning(picture_warning_);
      if (!outcome.text().empty()) messages_.Warning(outcome.text());
      for (const std::string& warning : speakers_.Warnings()) messages_.Warning(warning);
      if (!speakers_.WriteCaptions(writer, options_.writer.sync)) {
        return TellWithoutCaptions();
      }
      if (!speakers_.warning_text().empty()) messages_.Warning(speakers_.warning_text());
      messages_.Done(status, writer, speakers_, ElapsedUs());
    } else {
      const bool may_exist = outcome.kind() == TranscodeOutcome::Kind::kOutputRefused &&
                             facts_.output_conflict.empty();
      const bool lacks_part = outcome.kind() == TranscodeOutcome::Kind::kNothingToPlay &&
                              writer.failure == kxrtc_host::WriterFailure::kNoPart;
      return messages_.Failure(
          status,
          (lacks_part ? writer.failure_text : outcome.text()) +
              (may_exist ? HintAtForce(options_.output, options_.writer.replace_existing) : ""));
    }
    return status;
  }

  // What is up to date was complete, or was all that there is. A repaired record is complete.
  ExitStatus TellUpToDate() {
    const ExitStatus status =
        origin_options_.isMember(kRepairMember)
            ? kExitOk
            : StatusOf(TranscodeOutcome::Predict(facts_, {WriterEnd::Kind::kWritten, ""}).kind());
    messages_.UpToDate(status, claim_.text());
    return status;
  }

  ExitStatus TellWithoutCaptions() {
    const bool stopped = signals_->signal_number() != 0;
    const std::string complete = options_.output + " is complete";
    if (stopped) {
      return messages_.Failure(signals_->exit_status(), "stopped before the captions; " + complete);
    }
    return messages_.Failure(kExitOutputFailed, speakers_.error_text() + "; " + complete);
  }

  // From the start of the first thread on. Until then a signal may end the program. The first
  // member, so that a second signal does not end it before the others have removed their files.
  std::optional<StopSignals> signals_;
  const TranscodeOptions options_;
  TranscodeMessages messages_;
  OutcomeJournal journal_;
  SpeakerOutputs speakers_;
  Json::Value origin_options_;
  std::string origin_;
  std::string picture_warning_;
  OutputClaim claim_;
  kxrtc_host::RepairedCopy copy_;
  bool is_repaired_ = false;
  ToolLog log_;
  ProgressReport progress_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  kxrtc_host::TranscodeFacts facts_;
  std::optional<int64_t> lead_in_us_;
  Mp4WriterStatus writer_;
};

}  // namespace

void AddTranscodeCommand(CLI::App& app, PathOptions* paths, int* exit_status) {
  auto options = std::make_shared<TranscodeOptions>();
  CLI::App* command = app.add_subcommand("transcode", "Turn a record into an MP4 file");
  paths->AddRecord(command, "RECORD_DIR", &options->record_dir, "Folder of the record");
  paths->AddFile(command, "OUT.mp4", &options->output, "MP4 file to write");
  command
      ->add_option("--video", options->writer.video_mode,
                   "encode: pictures of one size, playable everywhere (default)\n"
                   "copy: the recorded pictures unchanged, many times faster\n"
                   "none: the sound only, as recorded; OUT.m4a")
      ->transform(NamedValues(kVideoModes));
  command
      ->add_option("--still-share", options->writer.still_share,
                   "Shown while a desktop share stands still for more than 5 s:\n"
                   "picture: its last picture (default); icon: that of no camera.\n"
                   "Copied video always shows the icon")
      ->transform(NamedValues(kStillShares));
  command
      ->add_option("--preset", options->writer.preset,
                   "Preset of the encoder libx264 (default veryfast)")
      ->check(OneOf({"ultrafast", "superfast", "veryfast", "faster", "fast", "medium", "slow",
                     "slower", "veryslow"}));
  AddEncoderOption(command, &options->encoder);
  AddPictureOptions(command, &options->picture);
  AddQualityOption(command, &options->picture);
  command->add_flag("--check-sound", options->writer.check_sound,
                    "With --video copy or none: try each audio frame with a decoder,\n"
                    "as --video encode does, and replace a damaged one by silence");
  command->add_flag("!--no-chapters", options->speakers.chapters,
                    "No chapter for each person who is seen; they come from the\n"
                    "speaker timeline beside the record");
  command
      ->add_option_function<std::string>(
          "--chapter-min",
          [options](const std::string& text) {
            (void)kxrtc_host::ParseTime(text, &options->speakers.shortest_chapter_us);
          },
          "Shortest chapter in seconds (default 3); who is seen for less\n"
          "belongs to the chapter before")
      ->check(TimeValidator(0, kLongestChapterMinUs));
  command->add_flag("!--no-metadata", options->speakers.metadata,
                    "No title and creation time from the speaker timeline");
  AddPartOptions(command, &options->writer.parts);
  paths->AddFile(command, "--captions", &options->speakers.captions,
                 "Also write captions (WebVTT) that tell who speaks");
  command->add_flag("-f,--force", options->writer.replace_existing,
                    "Replace OUT.mp4, and the captions, if they exist");
  command->add_flag("--if-needed", options->if_needed,
                    "Do nothing where OUT.mp4 was made of this record with these\n"
                    "options; replace it where it was made of another one");
  command->add_flag("--accept-cut", options->accept_cut,
                    "Status 0 instead of 7 for a record that ends early");
  command->add_flag("--repair", options->repair,
                    "Repair a torn or damaged record before, in a copy beside OUT.mp4\n"
                    "that is removed afterwards");
  CLI::Option* manifest = paths->AddFile(command, "--manifest", &options->journal.manifest,
                                         "Add a line of JSON about the outcome to this file");
  command
      ->add_option("--on-done", options->journal.on_done,
                   "Run this shell command for a complete MP4, unless the manifest\n"
                   "tells that it was run")
      ->needs(manifest);
  command->add_flag("-q,--quiet", options->quiet, "Show warnings and errors only");
  command->add_flag("-j,--json", options->json, "Report in lines of JSON on standard output");
  command->add_flag("!--no-hardware", options->prefer_hardware, "Do not try hardware encoders");
  command->add_flag("!--no-sync", options->writer.sync,
                    "Do not wait until the file is on the disk");
  command->footer(kTranscodeFooter);
  command->callback([options, command, exit_status] {
    CheckOptions(*command, *options);
    *exit_status = TranscodeRun(*options).Run();
  });
}

}  // namespace kxrtc_tool
