#include "record/repair/record_repair.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <string_view>

#include "files/new_folder.h"
#include "files/read_only_file.h"
#include "record/check/adts.h"
#include "record/check/descriptor_check.h"
#include "record/index/record_files.h"
#include "record/index/record_text.h"
#include "record/repair/file_roles.h"
#include "record/repair/salvage_reader.h"
#include "record/speakers/timeline_reader.h"

namespace kxrtc_host {
namespace {

std::string FileName(const char* extension) { return kxrtc::SpeakerRecordFilePath("", extension); }

// True when `path` or its parent folder is inside `folder`.
bool LiesIn(const std::string& folder, std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  const size_t slash = path.rfind('/');
  const std::string parent = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  char resolved_folder[PATH_MAX];
  char resolved_parent[PATH_MAX];
  if (::realpath(folder.c_str(), resolved_folder) == nullptr) return false;
  if (::realpath(parent.c_str(), resolved_parent) == nullptr) return false;
  const std::string inside = RecordFolderPath(resolved_folder);
  return RecordFolderPath(resolved_parent).compare(0, inside.size(), inside) == 0;
}

class Repair {
 public:
  // Without a target nothing is written.
  Repair(const std::string& source, const std::string* target, const RepairOptions& options)
      : source_(source), target_(target), options_(options) {}

  RepairResult Run() {
    result_.repaired = OpenSource() && CreateTarget() && WriteIndex() && TellUnnamed() &&
                       WriteData() && WriteDescriptor() && WriteTimeline() &&
                       (target_ == nullptr || Check(folder_.Commit()));
    result_.warning = folder_.warning();
    return std::move(result_);
  }

 private:
  bool Fail(const std::string& error) {
    result_.error = error;
    return false;
  }

  bool Check(bool done) {
    if (done) return true;
    (folder_.is_source_error() ? result_.source_refused : result_.target_failed) = true;
    return Fail(folder_.error());
  }

  bool Begin(const char* extension) { return BeginFile(FileName(extension)); }

  bool BeginFile(const std::string& name) {
    return target_ == nullptr || Check(folder_.BeginFile(name));
  }

  bool Append(std::string_view bytes) {
    return target_ == nullptr || Check(folder_.Append(bytes.data(), bytes.size()));
  }

  bool Copy(const ReadOnlyFile& file, const FrameRanges::Range& range) {
    return target_ == nullptr || Check(folder_.Copy(file, range.begin, range.size));
  }

  bool OpenSource() {
    files_.Open(source_);
    result_.source_refused = true;
    bool has_any = false;
    for (const ReadOnlyFile* file : {&files_.index, &files_.video, &files_.audio}) {
      // A missing file is like an empty one. With any other error the user has to act first.
      if (file->state() == ReadOnlyFile::State::kUnreadable) {
        return Fail(file->path() + ": " + file->error());
      }
      has_any = has_any || file->is_open();
    }
    if (!has_any) return Fail(files_.index.path() + ": " + files_.index.error());
    result_.source_refused = false;
    return true;
  }

  bool CreateTarget() {
    if (target_ == nullptr) return true;
    if (LiesIn(RecordFolderPath(source_), *target_)) {
      result_.target_refused = true;
      return Fail(*target_ + ": is inside the record; choose another folder");
    }
    folder_.set_sync(options_.sync);
    folder_.set_is_wanted(options_.is_wanted);
    const std::vector<std::string> names = {
        FileName(kxrtc::kIndexFileExtension), FileName(kxrtc::kVideoFileExtension),
        FileName(kxrtc::kAudioFileExtension), FileName(kxrtc::kDescriptorFileExtension),
        kSpeakerTimelineFileName};
    if (folder_.Create(*target_, names)) return true;
    result_.target_refused = true;
    return Fail(folder_.error());
  }

  bool FailSource(const ReadOnlyFile& file) {
    result_.source_refused = true;
    return Fail(file.path() + ": " + file.ReadFailureText());
  }

  // A read that failed looks like damage, but what is there may be whole.
  bool CheckReads() {
    for (const ReadOnlyFile* file : {roles_.index(), roles_.video(), roles_.audio()}) {
      if (file->has_read_error()) return FailSource(*file);
    }
    return true;
  }

  bool WriteIndex() {
    roles_.Recognise(options_.is_wanted, &result_.changes);
    reader_.emplace(roles_.index(), roles_.video(), roles_.audio(), &result_.changes,
                    options_.is_wanted);
    IndexRewriter rewriter(&result_.changes);
    IndexRecord record;
    std::string out;
    if (!Begin(kxrtc::kIndexFileExtension)) return false;
    for (;;) {
      const IndexWalker::Step step = reader_->Next(&record);
      if (step == IndexWalker::Step::kEnd) break;
      if (step == IndexWalker::Step::kStopped) return Fail(kStoppedText);
      if (step == IndexWalker::Step::kChanged) {
        return FailSource(*roles_.index());
      }
      if (step != IndexWalker::Step::kRecord) {
        rewriter.OnGarbage(record.offset, reader_->skipped_bytes());
        continue;
      }
      out.clear();
      rewriter.OnRecord(record, &out);
      if (!Append(out)) return false;
    }
    if (!CheckReads()) return false;
    out.clear();
    rewriter.Finish(roles_.index()->size(), &out);
    result_.kept = rewriter.kept();
    result_.recorded_us = std::max(reader_->recorded_us(), result_.kept.recorded_us);
    sessions_ = rewriter.sessions();
    contains_desktop_ = rewriter.contains_desktop();
    result_.sessions = sessions_.size();
    if (sessions_.empty()) {
      return Fail(
          "no file contains a whole frame or a whole index record; there is nothing to repair");
    }
    return Append(out);
  }

  // What is gone, and the index does not name. Always true.
  bool TellUnnamed() {
    result_.lost_video_frames = reader_->lost_video_frames();
    result_.lost_audio_frames = reader_->lost_audio_frames();
    remains_ = ReadDescriptorRemains(*roles_.descriptor(), sessions_.size());
    if (roles_.index()->size() == 0) {
      Tell("there is no index: the sessions, the kinds of channels and the rotations are lost", 1);
    }
    const auto& media = remains_.media;
    TellMissing("video", media ? std::optional(media->video_frames) : std::nullopt,
                result_.kept.video_frames, &result_.lost_video_frames);
    TellMissing("audio", media ? std::optional(media->audio_frames) : std::nullopt,
                result_.kept.audio_frames, &result_.lost_audio_frames);
    return true;
  }

  void Tell(const std::string& text, uint64_t count) {
    result_.changes.Add({RepairChange::Kind::kLost, 0, std::nullopt, text, count});
  }

  // Frames that only the descriptor counts.
  void TellMissing(const char* name, std::optional<uint64_t> described, uint64_t kept,
                   uint64_t* lost) {
    if (!described && kept == 0 && roles_.index()->size() == 0) {
      Tell(Text("there is no %s frame, and neither index nor descriptor counts them", name), 1);
    }
    const uint64_t named = kept + *lost;
    if (!described || *described <= named) return;
    const uint64_t missing = *described - named;
    *lost += missing;
    Tell(CountText(missing, (std::string(name) + " frame").c_str()) +
             ": in no file; only the descriptor counts " + ByCount(missing, "it", "them"),
         missing);
    result_.recorded_us = std::max(result_.recorded_us, remains_.media->duration_us);
  }

  // Copies the parts of a data file that stay.
  bool CopyData(const ReadOnlyFile& file, const char* extension, const FrameRanges& ranges) {
    if (!Begin(extension)) return false;
    uint64_t end = 0;
    for (const FrameRanges::Range& range : ranges.ranges()) {
      if (range.begin > end) TellUnused(extension, "", end, range.begin - end);
      if (!Copy(file, range)) return false;
      end = range.begin + range.size;
    }
    if (end < file.size()) TellUnused(extension, "the end of ", end, file.size() - end);
    return true;
  }

  void TellUnused(const char* extension, const char* where, uint64_t begin, uint64_t bytes) {
    result_.changes.Add({RepairChange::Kind::kLost, begin, std::nullopt,
                         CountText(bytes, "byte") + " at " + where + extension + " that " +
                             ByCount(bytes, "does", "do") + " not belong to a frame"});
  }

  bool WriteData() {
    return CopyData(*roles_.video(), kxrtc::kVideoFileExtension, reader_->video_ranges()) &&
           CopyData(*roles_.audio(), kxrtc::kAudioFileExtension, reader_->audio_ranges());
  }

  bool FindChannels() {
    const auto& member = remains_.audio_channels;
    if (member && !member->count) {
      result_.changes.Add(
          {RepairChange::Kind::kLost, member->offset, std::nullopt,
           Text("%s of %s: AAC cannot have this number of channels",
                kxrtc::descriptor_key::kAudioChannelCount, kxrtc::kDescriptorFileExtension)});
    }
    if (options_.audio_channels) {
      result_.audio_channels = *options_.audio_channels;
      result_.channel_source = ChannelSource::kOption;
      return true;
    }
    if (member && member->count) {
      result_.audio_channels = *member->count;
      result_.channel_source = ChannelSource::kDescriptor;
      return true;
    }
    const auto format = reader_->FindAudioFormat();
    if (format && format->channel_configuration > 0) {
      result_.audio_channels = ChannelCount(format->channel_configuration);
      result_.channel_source = ChannelSource::kAudioFrames;
      return true;
    }
    if (result_.kept.audio_frames == 0) {
      constexpr uint32_t kUsualChannels = 2;
      result_.audio_channels = kUsualChannels;
      result_.channel_source = ChannelSource::kNoSound;
      return true;
    }
    result_.lacks_channels = true;
    return Fail(
        "neither the descriptor nor an audio frame gives the number of audio channels; use "
        "--channels");
  }

  bool WriteDescriptor() {
    if (!FindChannels()) return false;
    kxrtc::SpeakerRecordOverall overall;
    overall.record_session_count = static_cast<uint32_t>(sessions_.size());
    overall.contain_video = result_.kept.video_frames > 0 ? 1 : 0;
    overall.contain_desktop = contains_desktop_ ? 1 : 0;
    overall.audio_channel_count = result_.audio_channels;
    const std::string text = kxrtc::RenderSpeakerRecordDesc(overall, sessions_);
    return Begin(kxrtc::kDescriptorFileExtension) && Append(text);
  }

  // The people: every whole line up to the end of the new record.
  bool WriteTimeline() {
    TimelineReader reader;
    if (!reader.Open(RecordFolderPath(source_))) {
      if (!reader.problem().empty()) TellLostLines("everything");
      return true;
    }
    if (!BeginFile(kSpeakerTimelineFileName) || !Append(reader.line())) return false;
    const int64_t end_us = sessions_.back().sessoin_end_timestamp_us;
    uint64_t damaged = 0;
    for (;;) {
      const TimelineReader::Step step = reader.Next();
      if (step == TimelineReader::Step::kEnd) break;
      if (step == TimelineReader::Step::kDamaged) {
        ++damaged;
      } else if (reader.entry().time_us <= end_us && !Append(reader.line())) {
        return false;
      }
    }
    if (damaged > 0) TellLostLines(CountText(damaged, "damaged line"));
    return true;
  }

  void TellLostLines(const std::string& what) {
    result_.changes.Add({RepairChange::Kind::kLost, 0, std::nullopt,
                         what + " of " + kSpeakerTimelineFileName + ": left out"});
  }

  const std::string& source_;
  const std::string* target_;
  const RepairOptions& options_;
  RepairResult result_;
  RecordFiles files_;
  FileRoles roles_{&files_};
  std::optional<SalvageReader> reader_;
  NewFolder folder_;
  std::vector<kxrtc::SpeakerRecordSession> sessions_;
  DescriptorRemains remains_;
  bool contains_desktop_ = false;
};

}  // namespace

const char* ChannelSourceName(ChannelSource source) {
  switch (source) {
    case ChannelSource::kOption:
      return "option";
    case ChannelSource::kDescriptor:
      return "descriptor";
    case ChannelSource::kAudioFrames:
      return "audio frames";
    case ChannelSource::kNoSound:
      return "lack of sound";
    case ChannelSource::kNone:
      break;
  }
  return "";
}

RepairResult RepairRecord(const std::string& source, const std::string& target,
                          const RepairOptions& options) {
  return Repair(source, &target, options).Run();
}

RepairResult PreviewRepair(const std::string& source, const RepairOptions& options) {
  return Repair(source, nullptr, options).Run();
}

bool MayHelpRepair(const RecordSummary& summary) {
  const bool has_data = summary.sizes.video + summary.sizes.audio > 0;
  switch (summary.replay.encode.kind) {
    case TranscodeKind::kWrittenInPart:
    case TranscodeKind::kRecordDamaged:
      return true;
    case TranscodeKind::kRecordUnreadable:
      return has_data;
    case TranscodeKind::kNothingToPlay:  // An index that names nothing of what is there.
      return summary.findings.Verdict() == Severity::kError && has_data;
    default:
      return false;
  }
}

}  // namespace kxrtc_host
