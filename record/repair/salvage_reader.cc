#include "record/repair/salvage_reader.h"

#include <algorithm>
#include <utility>

#include "kx_utility/byte_buffer.h"
#include "kxrtc/media/video/h264/nal_unit.h"
#include "kxrtc/recording/peer_connection_conductor.h"
#include "kxrtc/recording/replay_rules.h"
#include "record/check/clock_check.h"
#include "record/index/frame_limit.h"
#include "record/index/index_state.h"
#include "record/index/record_text.h"
#include "record/timing/time_text.h"

namespace kxrtc_host {
namespace {

using kxrtc::MediaDataRecord;
using Fate = FrameFates::Fate;
using Step = IndexWalker::Step;

constexpr size_t kRecordsAhead = 512;
constexpr size_t kFramesAhead = 64;  // Of one kind, to judge by.

// Stores the bytes that the fields of the record have in an index.
void Serialise(IndexRecord* record) {
  kx_utility::ByteBufferWriter writer;
  kxrtc::WriteRecord(record->header, &writer);
  if (record->IsMedia()) kxrtc::WriteRecord(record->data, &writer);
  if (record->header.type == kxrtc::kNewChannel) kxrtc::WriteRecord(record->channel, &writer);
  if (record->header.type == kxrtc::kNewVideoAttributes) {
    kxrtc::WriteRecord(record->attributes, &writer);
  }
  record->size = static_cast<uint32_t>(writer.length());
  std::copy_n(writer.data(), writer.length(), record->bytes.begin());
}

const char* PictureRemark(PictureTimes times) {
  switch (times) {
    case PictureTimes::kStream:
      return "times by the stream's own timing";
    case PictureTimes::kSound:
      return "times spread along the sound";
    case PictureTimes::kUsualRate:
      return "times by the usual rate of pictures";
    case PictureTimes::kRecords:
      break;
  }
  return "times between those of the records around";
}

}  // namespace

SalvageReader::SalvageReader(ReadOnlyFile* index, ReadOnlyFile* video, ReadOnlyFile* audio,
                             RepairChanges* changes, std::function<bool()> is_wanted)
    : walker_(index, is_wanted),
      is_wanted_(std::move(is_wanted)),
      changes_(changes),
      adts_(audio, is_wanted_),
      video_("video", kxrtc::kVideoData, video, changes),
      audio_("audio", kxrtc::kAudioData, audio, changes) {
  SurveyIndex(index);
  if (!audio_.is_as_recorded) (void)adts_.FindFormat();  // Without one, nothing is moved or found.
  for (Track* track : {&video_, &audio_}) {
    const auto end_shift = static_cast<int64_t>(track->file->size() - track->index_end);
    track->locator.emplace(track->file, track == &audio_ ? &adts_ : nullptr, end_shift);
  }
}

void SalvageReader::SurveyIndex(ReadOnlyFile* index) {
  IndexWalker walker(index, is_wanted_);
  IndexRecord record;
  for (;;) {
    const Step step = walker.Next(&record);
    if (step != Step::kRecord && step != Step::kGarbage) break;
    if (step == Step::kGarbage || !record.IsMedia()) continue;
    Track* track = TrackOf(record);
    track->is_as_recorded = track->is_as_recorded && record.data.start_position == track->index_end;
    track->index_end = record.data.start_position + record.data.size;
  }
  for (Track* track : {&video_, &audio_}) {
    track->is_as_recorded = track->is_as_recorded && track->index_end == track->file->size();
  }
}

SalvageReader::Track* SalvageReader::TrackOf(const IndexRecord& record) {
  return record.header.type == kxrtc::kVideoData ? &video_ : &audio_;
}

void SalvageReader::LookAhead() {
  while (!index_ended_ && ahead_.size() < kRecordsAhead) {
    Ahead next;
    next.step = walker_.Next(&next.record);
    next.skipped_bytes = walker_.skipped_bytes();
    index_ended_ =
        next.step == Step::kEnd || next.step == Step::kChanged || next.step == Step::kStopped;
    if (next.step != Step::kEnd) ahead_.push_back(next);
  }
}

// Holds one record back: its time is judged by those of its neighbours.
Step SalvageReader::Next(IndexRecord* record) {
  for (;;) {
    IndexRecord next;
    const Step step = Produce(&next);
    if (step != Step::kRecord && !(step == Step::kEnd && held_)) {
      *record = next;
      return step;
    }
    const bool is_first = !held_;
    if (!is_first) {
      if (step == Step::kRecord) PutTimeRight(next.header.record_timestamp_us, &*held_);
      CountTimeOfHeld();
      *record = *held_;
      put_us_ = record->header.record_timestamp_us;
    }
    held_ = step == Step::kRecord ? std::optional(next) : std::nullopt;
    is_held_counted_ = false;
    if (!is_first) return Step::kRecord;
  }
}

Step SalvageReader::Produce(IndexRecord* record) {
  for (;;) {
    if (found_ != nullptr) {
      if (NextFound(record)) return Step::kRecord;
      found_.reset();
    }
    LookAhead();
    if (ahead_.empty()) {
      if (SearchTail(std::nullopt)) continue;
      video_.fates.Finish();
      audio_.fates.Finish();
      return Step::kEnd;
    }
    const Ahead& next = ahead_.front();
    offset_ = next.record.offset;
    if (next.step == Step::kRecord && next.record.IsMedia()) {
      if (TakeMedia(record)) return Step::kRecord;
      continue;
    }
    const bool stops =
        next.step == Step::kRecord && next.record.header.type == kxrtc::kStopRecording;
    if (stops && SearchBeforeStop()) continue;
    *record = next.record;
    skipped_bytes_ = next.skipped_bytes;
    const Step step = next.step;
    ahead_.pop_front();
    if (step == Step::kRecord) TakeState(*record);
    return step;
  }
}

// One record far from its neighbours, which are close to each other, has a damaged time: a picture
// there would push all later ones away from their sound.
void SalvageReader::PutTimeRight(int64_t next_us, IndexRecord* record) {
  if (!put_us_) return;
  const int64_t time_us = record->header.record_timestamp_us;
  const int64_t last_us = *put_us_;
  const int64_t between_us = kxrtc::SaturatedSubtract(next_us, last_us);
  const bool is_far =
      kxrtc::SaturatedSubtract(time_us, std::max(last_us, next_us)) > kForwardStepUs ||
      kxrtc::SaturatedSubtract(std::min(last_us, next_us), time_us) > kForwardStepUs;
  if (!is_far || between_us < -kBackwardStepUs || between_us > kForwardStepUs) return;
  const int64_t right_us = std::max(last_us, next_us);
  changes_->Add({RepairChange::Kind::kMoved, record->offset, right_us,
                 Text("%s record: its time %s is far from those around it",
                      RecordTypeName(record->header.type), SecondsText(time_us).c_str())});
  record->header.record_timestamp_us = right_us;
  Serialise(record);
}

// In the order of the records: the one that is held comes before those left out behind it.
void SalvageReader::CountTimeOfHeld() {
  if (held_ && !is_held_counted_) recorded_time_.Take(held_->header);
  is_held_counted_ = true;
}

void SalvageReader::CountTimeOfLost(const IndexRecord& record) {
  CountTimeOfHeld();
  recorded_time_.Take(record.header);
}

std::vector<MediaDataRecord> SalvageReader::Upcoming(const Track& track) const {
  std::vector<MediaDataRecord> frames;
  for (size_t i = 1; i < ahead_.size() && frames.size() < kFramesAhead; ++i) {
    const Ahead& next = ahead_[i];
    const bool is_frame = next.step == Step::kRecord && next.record.header.type == track.type;
    if (is_frame && next.record.data.size > 0) frames.push_back(next.record.data);
  }
  return frames;
}

// Also gives the place of a frame that is kept.
Fate SalvageReader::FateOf(Track* track, const IndexRecord& record, uint64_t* position) {
  const MediaDataRecord& data = record.data;
  *position = data.start_position;
  if (data.size > kMaxFrameBytes) return Fate::kTooLarge;
  if (track->is_as_recorded) return Fate::kKept;
  if (data.size == 0) {
    *position = track->ranges.end();
    if (*position == data.start_position) return Fate::kKept;
    return track->file->CanSeekTo(data.start_position) ? Fate::kMoved : Fate::kNotInFile;
  }
  auto place = track->locator->Expect(data);
  if (!place || *place < track->ranges.end()) {
    place = track->locator->Locate(data, Upcoming(*track), {track->ranges.end(), track->named_to});
  }
  if (!place) return LiesInside(data, track->file->size()) ? Fate::kNotFound : Fate::kNotInFile;
  *position = *place;
  return track->locator->shift() == 0 ? Fate::kKept : Fate::kMoved;
}

FileGap SalvageReader::GapBefore(const Track& track, std::optional<uint64_t> position) const {
  const uint64_t begin = std::max(track.ranges.end(), track.searched_to);
  if (track.is_as_recorded || !position || *position <= begin) return {begin, begin};
  return {begin, *position};
}

// Where the next whole frame of the index is; none when that is unknown.
std::optional<uint64_t> SalvageReader::ExpectNext(Track* track) {
  for (const Ahead& next : ahead_) {
    if (next.step != Step::kRecord || next.record.header.type != track->type) continue;
    if (const auto place = track->locator->Expect(next.record.data)) return place;
  }
  return std::nullopt;
}

bool SalvageReader::Search(const FileGap& video, const FileGap& audio,
                           std::optional<int64_t> before_us) {
  if (video.begin == video.end && audio.begin == audio.end) return false;
  video_.searched_to = video.end;
  audio_.searched_to = audio.end;
  found_ = std::make_unique<FoundFrames>(
      video_.file, &adts_, FoundFrames::Gap{video, audio, last_us_, before_us}, is_wanted_);
  return true;
}

// Looks for frames in front of the next record of the index, whose bytes are at `position`.
bool SalvageReader::SearchBefore(const IndexRecord& record, Track* track, uint64_t position) {
  const FileGap gap = GapBefore(*track, position);
  if (gap.begin == gap.end) return false;
  Track* other = track == &video_ ? &audio_ : &video_;
  const FileGap other_gap = GapBefore(*other, ExpectNext(other));
  const bool is_video = track == &video_;
  return Search(is_video ? gap : other_gap, is_video ? other_gap : gap,
                record.header.record_timestamp_us);
}

bool SalvageReader::SearchBeforeStop() {
  const bool is_last =
      index_ended_ && std::none_of(ahead_.begin(), ahead_.end(), [](const auto& next) {
        return next.step == Step::kRecord && next.record.IsMedia();
      });
  const int64_t stop_us = ahead_.front().record.header.record_timestamp_us;
  // Without time in front of the stop, what is found goes on behind it.
  const bool has_time = kxrtc::SaturatedSubtract(stop_us, last_us_) > kxrtc::kAudioFrameDurationUs;
  const auto before_us = has_time ? std::optional(stop_us) : std::nullopt;
  if (is_last) return SearchTail(before_us);
  return Search(GapBefore(video_, ExpectNext(&video_)), GapBefore(audio_, ExpectNext(&audio_)),
                before_us);
}

// Looks for frames up to the ends of the files, once.
bool SalvageReader::SearchTail(std::optional<int64_t> before_us) {
  return Search(GapBefore(video_, video_.whole_to), GapBefore(audio_, audio_.whole_to), before_us);
}

bool SalvageReader::NextFound(IndexRecord* record) {
  if (waiting_) {
    *record = *waiting_;
    waiting_.reset();
    TakeState(*record);
    return true;
  }
  for (AccessUnit picture; found_->Next(record, &picture);) {
    Track* track = TrackOf(*record);
    const bool is_picture = track == &video_;
    const FrameFates::Frame frame = {record->data.start_position,
                                     record->header.record_timestamp_us,
                                     record->data.start_position, record->data.size};
    StartChannel(is_picture);
    if (is_picture && wants_key_ && !picture.is_key) {
      track->fates.Add(Fate::kBeforeKey, frame);
      CountTimeOfLost(*record);
      continue;
    }
    // The pictures behind a key frame are worth more than one picture without faults.
    if (is_picture && !picture.is_key && frame.position == track->damaged) continue;
    const auto place = track->ranges.Take(frame.position, record->data.size);
    if (!place) {
      track->fates.Add(Fate::kScattered, frame);
      CountTimeOfLost(*record);
      continue;
    }
    track->fates.Add(
        is_picture && found_->is_last_picture() ? Fate::kFoundLast : Fate::kFound, frame, 0,
        is_picture ? PictureRemark(found_->picture_times()) : "times by the pace of sound");
    wants_key_ = wants_key_ && !is_picture;
    record->data.start_position = *place;
    record->offset = offset_;
    Serialise(record);
    if (is_picture && PutAttributes(picture, record)) return true;
    TakeState(*record);
    return true;
  }
  return false;
}

// A recorder writes the attributes in front of the first picture that has them. Then the picture
// waits.
bool SalvageReader::PutAttributes(const AccessUnit& picture, IndexRecord* record) {
  constexpr kxrtc::VideoSettings kUnknown = kxrtc::VideoSettingsFor(false);
  kxrtc::NewVideoAttributesRecord attributes =
      attributes_.value_or(kxrtc::NewVideoAttributesRecord{0, kUnknown.width, kUnknown.height});
  if (picture.width > 0 && picture.height > 0) {
    attributes.width = picture.width;
    attributes.height = picture.height;
  }
  const bool is_known = attributes_ && attributes_->width == attributes.width &&
                        attributes_->height == attributes.height;
  if (is_known) return false;
  waiting_ = *record;
  record->header.type = kxrtc::kNewVideoAttributes;
  record->attributes = attributes;
  Serialise(record);
  changes_->Add(
      {RepairChange::Kind::kAdded, offset_, record->header.record_timestamp_us,
       Text("attributes record: %ux%u, from the picture", attributes.width, attributes.height)});
  TakeState(*record);
  return true;
}

// Video without a channel gets one when the index is written.
void SalvageReader::StartChannel(bool is_video) {
  if (!is_video || media_type_ != 0) return;
  media_type_ = kxrtc::PeerConnectionConductor::kCamera;
  wants_key_ = true;
  attributes_.reset();
}

bool SalvageReader::IsKey(const MediaDataRecord& data, uint64_t position) {
  frame_.resize(data.size);
  const size_t size = video_.file->Read(position, frame_.data(), frame_.size());
  return kxrtc::H264::IsKeyFrame(frame_.data(), static_cast<uint32_t>(size));
}

// True when the index has the frame right between its neighbours: then its bytes are the damaged
// ones.
bool SalvageReader::IsNamedRight(const Track& track, const MediaDataRecord& data) const {
  const std::vector<MediaDataRecord> upcoming = Upcoming(track);
  return data.start_position == track.named_to &&
         (upcoming.empty() || upcoming[0].start_position == data.start_position + data.size);
}

// The next record of the index is media. False when it is left out, or a search begins before it.
bool SalvageReader::TakeMedia(IndexRecord* record) {
  *record = ahead_.front().record;
  Track* track = TrackOf(*record);
  const bool is_video = track == &video_;
  uint64_t position = 0;
  const int64_t shift = track->locator->shift();
  Fate fate = FateOf(track, *record, &position);
  if (fate == Fate::kNotFound && IsNamedRight(*track, record->data)) {
    track->damaged = record->data.start_position + static_cast<uint64_t>(shift);
  }
  const bool is_there = fate == Fate::kKept || fate == Fate::kMoved;
  if (is_there && SearchBefore(*record, track, position)) return false;
  ahead_.pop_front();
  track->named_to = record->data.start_position + record->data.size;
  if (fate == Fate::kNotInFile) {
    track->whole_to = std::min(track->whole_to, track->locator->CutAt(record->data));
  }
  if (is_there) {
    track->searched_to = std::max(track->searched_to, position + record->data.size);
    StartChannel(is_video);
    if (is_video && wants_key_ && !IsKey(record->data, position)) fate = Fate::kBeforeKey;
  }
  const bool stays = fate == Fate::kKept || fate == Fate::kMoved;
  const auto place = stays ? track->ranges.Take(position, record->data.size) : std::nullopt;
  if (stays && !place) fate = Fate::kScattered;
  track->fates.Add(fate,
                   {record->offset, record->header.record_timestamp_us, record->data.start_position,
                    record->data.size},
                   fate == Fate::kMoved ? track->locator->shift() : 0);
  if (!place) {
    CountTimeOfLost(*record);
    return false;
  }
  if (is_video) wants_key_ = false;
  if (record->data.start_position != *place) {
    record->data.start_position = *place;
    Serialise(record);
  }
  TakeState(*record);
  return true;
}

void SalvageReader::TakeState(const IndexRecord& record) {
  last_us_ = record.header.record_timestamp_us;
  if (record.header.type == kxrtc::kNewChannel) {
    media_type_ = record.channel.media_type;
    wants_key_ = media_type_ != 0;
    attributes_.reset();
  } else if (record.header.type == kxrtc::kNewVideoAttributes) {
    StartChannel(true);
    attributes_ = record.attributes;
  }
}

}  // namespace kxrtc_host
