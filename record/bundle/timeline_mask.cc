#include "record/bundle/timeline_mask.h"

#include <algorithm>
#include <cinttypes>

#include "record/index/record_text.h"
#include "record/speakers/person_names.h"
#include "record/speakers/speaker_timeline.h"

namespace kxrtc_host {
namespace {

constexpr char kMaskLetter = 'x';
constexpr size_t kPieceSize = 64 * 1024;

std::string DamagedText(size_t bytes) { return std::string(bytes, kMaskLetter); }

}  // namespace

bool TimelineMask::Open(const std::string& folder) {
  if (reader_.Open(folder)) return true;
  // What another version means is unknown, and the text of what is no timeline may be anything.
  is_begun_ = reader_.header().version == kSpeakerTimelineVersion;
  is_at_end_ = true;
  if (!is_begun_) unread_position_ = reader_.position();
  return unread_.Open(folder + kSpeakerTimelineFileName) == ReadOnlyFile::State::kOpen;
}

std::string TimelineMask::HeaderLine() const {
  TimelineHeader header;
  header.version = reader_.header().version;
  if (!reader_.header().title.empty()) header.title = "Conference";
  return TimelineLine(header);
}

// 0 is nobody. The last number is that of all who are too many.
uint32_t TimelineMask::NumberOf(uint32_t user_id) {
  if (user_id == 0) return 0;
  const auto next = static_cast<uint32_t>(numbers_.size()) + 1;
  if (next <= SpeakerTimeline::kMaxPeople) return numbers_.emplace(user_id, next).first->second;
  const auto known = numbers_.find(user_id);
  return known != numbers_.end() ? known->second : next;
}

std::string TimelineMask::EntryLine(TimelineEntry entry) {
  entry.user_id = NumberOf(entry.user_id);
  if (!entry.name.empty()) entry.name = AnonymousPerson(entry.user_id);
  return TimelineLine(entry);
}

bool TimelineMask::Next(std::string* text) {
  if (!is_begun_) {
    is_begun_ = true;
    *text = HeaderLine();
    return true;
  }
  if (unread_.is_open()) return NextUnread(text);
  if (is_at_end_) return false;
  const uint64_t position = reader_.position();
  const TimelineReader::Step step = reader_.Next();
  const uint64_t bytes = reader_.position() - position;
  switch (step) {
    case TimelineReader::Step::kEntry:
      *text = EntryLine(reader_.entry());
      return true;
    case TimelineReader::Step::kUnknown:
      *text = Text("{\"event\":\"unknown\",\"us\":%" PRId64 "}\n", reader_.entry().time_us);
      return true;
    case TimelineReader::Step::kDamaged:
      // Of one that is too long, so much that it still is.
      *text = DamagedText(std::min<uint64_t>(bytes - 1, kMaxTimelineLineBytes)) + '\n';
      return true;
    case TimelineReader::Step::kEnd:
      break;
  }
  is_at_end_ = true;
  // The rest is a line that is torn.
  *text = DamagedText(std::min<uint64_t>(reader_.end() - position, kMaxTimelineLineBytes));
  return !text->empty();
}

bool TimelineMask::NextUnread(std::string* text) {
  text->resize(kPieceSize);
  const uint64_t end = std::min(unread_.size(), TimelineReader::kMaxFileBytes);
  const uint64_t left = end - std::min(end, unread_position_);
  text->resize(unread_.Read(unread_position_, &(*text)[0], std::min<uint64_t>(left, kPieceSize)));
  if (text->empty()) return false;
  std::replace_if(
      text->begin(), text->end(), [](char c) { return c != '\n'; }, kMaskLetter);
  unread_position_ += text->size();
  return true;
}

}  // namespace kxrtc_host
