// Reads a damaged record for its repair: the records of the index, each frame in its real place,
// and records for whole frames that the index does not name. Frames that are gone, that overlap
// others or that no replay shows are left out. Memory stays bounded. Threads: an object belongs to
// one thread at a time.
#ifndef RECORD_REPAIR_SALVAGE_READER_H_
#define RECORD_REPAIR_SALVAGE_READER_H_

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "record/check/recorded_time.h"
#include "record/index/index_walker.h"
#include "record/repair/adts_scanner.h"
#include "record/repair/found_frames.h"
#include "record/repair/frame_locator.h"
#include "record/repair/frame_ranges.h"
#include "record/repair/repair_changes.h"

namespace kxrtc_host {

class SalvageReader {
 public:
  // The files are borrowed; each may be closed, which is like empty. `changes` is borrowed.
  SalvageReader(ReadOnlyFile* index, ReadOnlyFile* video, ReadOnlyFile* audio,
                RepairChanges* changes, std::function<bool()> is_wanted);

  // The next step, as IndexWalker::Next() gives it. Media records have their place in the new
  // files.
  [[nodiscard]] IndexWalker::Step Next(IndexRecord* record);

  // The bytes that are not a record, after kGarbage and kTruncated.
  uint64_t skipped_bytes() const { return skipped_bytes_; }

  // How many frames are left out. Complete after the last step.
  uint64_t lost_video_frames() const { return video_.fates.lost(); }
  uint64_t lost_audio_frames() const { return audio_.fates.lost(); }

  // The recorded time of all frames, also of those that are left out. Complete after the last step.
  int64_t recorded_us() const { return recorded_time_.total_us(); }

  // What the new data files have. Likewise.
  const FrameRanges& video_ranges() const { return video_.ranges; }
  const FrameRanges& audio_ranges() const { return audio_.ranges; }

  // An ADTS header of the sound; none for other sound.
  std::optional<AdtsHeader> FindAudioFormat() {
    return adts_.format() || adts_.FindFormat() ? adts_.format() : std::nullopt;
  }

 private:
  // One data file.
  struct Track {
    Track(const char* name, uint32_t record_type, ReadOnlyFile* data, RepairChanges* changes)
        : type(record_type),
          file(data),
          whole_to(data->size()),
          fates(name, data->size(), changes) {}

    uint32_t type;
    ReadOnlyFile* file;
    bool is_as_recorded = true;  // The index names each byte once, in order.
    uint64_t index_end = 0;      // End of the last frame, as the index has it.
    std::optional<FrameLocator> locator;
    FrameRanges ranges;
    uint64_t named_to = 0;          // End of the latest frame, as the index has it.
    uint64_t searched_to = 0;       // Nothing before this is unknown.
    uint64_t damaged = UINT64_MAX;  // Where the latest frame begins that lost or gained bytes.
    uint64_t whole_to;              // Where the frame begins that the end of the file cuts.
    FrameFates fates;
  };
  struct Ahead {
    IndexWalker::Step step;
    IndexRecord record;
    uint64_t skipped_bytes;
  };

  void SurveyIndex(ReadOnlyFile* index);
  void LookAhead();
  IndexWalker::Step Produce(IndexRecord* record);
  void PutTimeRight(int64_t next_us, IndexRecord* record);
  void CountTimeOfHeld();
  void CountTimeOfLost(const IndexRecord& record);
  Track* TrackOf(const IndexRecord& record);
  std::vector<kxrtc::MediaDataRecord> Upcoming(const Track& track) const;
  bool IsNamedRight(const Track& track, const kxrtc::MediaDataRecord& data) const;
  FrameFates::Fate FateOf(Track* track, const IndexRecord& record, uint64_t* position);
  FileGap GapBefore(const Track& track, std::optional<uint64_t> position) const;
  std::optional<uint64_t> ExpectNext(Track* track);
  bool Search(const FileGap& video, const FileGap& audio, std::optional<int64_t> before_us);
  bool SearchBefore(const IndexRecord& record, Track* track, uint64_t position);
  bool SearchBeforeStop();
  bool SearchTail(std::optional<int64_t> before_us);
  bool NextFound(IndexRecord* record);
  bool PutAttributes(const AccessUnit& picture, IndexRecord* record);
  void StartChannel(bool is_video);
  bool IsKey(const kxrtc::MediaDataRecord& data, uint64_t position);
  bool TakeMedia(IndexRecord* record);
  void TakeState(const IndexRecord& record);

  IndexWalker walker_;
  std::function<bool()> is_wanted_;
  RepairChanges* changes_;
  AdtsScanner adts_;
  Track video_;
  Track audio_;
  std::deque<Ahead> ahead_;
  bool index_ended_ = false;
  uint64_t skipped_bytes_ = 0;
  std::unique_ptr<FoundFrames> found_;
  std::optional<IndexRecord> waiting_;  // A found picture behind its attributes.
  int64_t last_us_ = 0;                 // Of the latest record.
  std::optional<IndexRecord> held_;     // Produced, and not given out yet.
  bool is_held_counted_ = false;        // In the recorded time.
  RecordedTime recorded_time_;
  std::optional<int64_t> put_us_;  // Time of the record that was given out last.
  uint64_t offset_ = 0;            // In the index, of the next record.
  uint32_t media_type_ = 0;
  bool wants_key_ = false;
  std::optional<kxrtc::NewVideoAttributesRecord> attributes_;  // Of the channel.
  std::vector<uint8_t> frame_;
};

}  // namespace kxrtc_host

#endif  // RECORD_REPAIR_SALVAGE_READER_H_
