#include "record/predict/speaker_turns.h"

#include <algorithm>

#include "kxrtc/recording/replay_rules.h"
#include "record/index/frame_limit.h"
#include "record/index/index_state.h"
#include "record/index/index_walker.h"
#include "record/index/record_files.h"
#include "record/predict/replay_end.h"
#include "record/speakers/timeline_reader.h"

namespace kxrtc_host {
namespace {

using Kind = TimelineEntry::Kind;

void Append(const SpeakerTurn& turn, std::vector<SpeakerTurn>* turns) {
  if (turn.end_us > turn.start_us && turns->size() < SpeakerTurns::kMaxTurns) {
    turns->push_back(turn);
  }
}

class TurnList final : public TurnObserver {
 public:
  explicit TurnList(SpeakerTurns* turns) : turns_(turns) {}

  void OnHeard(const SpeakerTurn& turn) override { Append(turn, &turns_->heard); }
  void OnSeen(const SpeakerTurn& turn) override { Append(turn, &turns_->seen); }

 private:
  SpeakerTurns* turns_;
};

// Puts the entries of a timeline between the records of an index, and so on the clock of the
// replay.
class TimelineMerge {
 public:
  TimelineMerge(TimelineReader* reader, TurnObserver* observer)
      : reader_(reader), follower_(observer) {
    FindEntry();
  }

  void OnRecord(const IndexRecord& record) {
    const int64_t time_us = record.header.record_timestamp_us;
    if (record.header.type == kxrtc::kStartRecording) {
      TakeUpToSession(time_us);
      clock_.StartSession(time_us);
      in_session_ = true;
    }
    latest_us_ = time_us;
    while (has_entry_ && !IsStart() && reader_->entry().time_us < time_us) Take();
    // The entry of this channel has the same time.
    while (record.header.type == kxrtc::kNewChannel && has_entry_ && !IsStart() &&
           reader_->entry().time_us == time_us) {
      Take();
    }
    if (record.header.type == kxrtc::kVideoData) {
      picture_us_ = clock_.PlaceVideo(time_us);
    } else if (record.header.type == kxrtc::kAudioData) {
      clock_.PlaceAudio(time_us);
    } else if (record.header.type == kxrtc::kStopRecording) {
      in_session_ = false;
    }
  }

  // What the timeline tells of the time after the record happens at its end.
  void Finish() {
    in_session_ = false;
    while (has_entry_) Take();
    follower_.Finish(OutputTimeOf(latest_us_));
  }

  int64_t latest_us() const { return latest_us_; }

 private:
  void FindEntry() {
    TimelineReader::Step step = reader_->Next();
    while (step == TimelineReader::Step::kDamaged || step == TimelineReader::Step::kUnknown) {
      step = reader_->Next();
    }
    has_entry_ = step == TimelineReader::Step::kEntry;
  }

  bool IsStart() const { return reader_->entry().kind == Kind::kStart; }

  // A session of the index starts at `time_us`. The timeline may have sessions that the index
  // does not have, and may lack some.
  void TakeUpToSession(int64_t time_us) {
    while (has_entry_ && !(IsStart() && reader_->entry().time_us >= time_us)) Take();
    if (has_entry_ && reader_->entry().time_us == time_us) Take();
  }

  void Take() {
    const TimelineEntry& entry = reader_->entry();
    // Between sessions the clock of the replay stands still.
    const int64_t time_us = in_session_ ? entry.time_us : std::min(entry.time_us, latest_us_);
    follower_.Take(entry, OutputTimeOf(time_us));
    FindEntry();
  }

  // Never goes back, and not behind a picture that the entry comes after.
  int64_t OutputTimeOf(int64_t recorder_us) {
    output_us_ = std::max({output_us_, picture_us_, clock_.OutputTimeOf(recorder_us)});
    return output_us_;
  }

  TimelineReader* reader_;
  SpeakerFollower follower_;
  kxrtc::ReplayClock clock_;
  bool has_entry_ = false;
  bool in_session_ = false;
  int64_t latest_us_ = 0;  // Recorder time of the latest record.
  int64_t picture_us_ = 0;
  int64_t output_us_ = 0;
};

void Walk(const std::string& folder, TimelineMerge* merge) {
  RecordFiles files;
  files.Open(folder);
  IndexState state(&files.video, &files.audio);
  IndexWalker walker(&files.index);
  IndexRecord record;
  while (walker.Next(&record) == IndexWalker::Step::kRecord &&
         !EndAtRecord(record, state.FaultOf(record), kMaxFrameBytes)) {
    merge->OnRecord(record);
    state.Take(record);
  }
}

}  // namespace

SpeakerTurns ReadSpeakerTurns(const std::string& folder) {
  SpeakerTurns turns;
  int64_t end_us = 0;
  TimelineReader reader;
  if (reader.Open(folder)) {
    TurnList list(&turns);
    TimelineMerge merge(&reader, &list);
    Walk(folder, &merge);
    merge.Finish();
    end_us = merge.latest_us();
    std::stable_sort(
        turns.heard.begin(), turns.heard.end(),
        [](const SpeakerTurn& a, const SpeakerTurn& b) { return a.start_us < b.start_us; });
  }
  turns.timeline = ReadSpeakerTimeline(folder, end_us);
  return turns;
}

}  // namespace kxrtc_host
