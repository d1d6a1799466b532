#include "record/speakers/timeline_reader.h"

#include <algorithm>
#include <cstring>

namespace kxrtc_host {

bool TimelineReader::Open(const std::string& folder) {
  const ReadOnlyFile::State state = file_.Open(folder + kSpeakerTimelineFileName);
  if (state == ReadOnlyFile::State::kMissing) return false;
  if (state != ReadOnlyFile::State::kOpen) {
    problem_ = file_.path() + ": cannot be read: " + file_.error();
  } else if (!NextLine() || is_too_long_ ||
             !ParseTimelineHeader(line_.substr(0, line_.size() - 1), &header_)) {
    if (problem_.empty()) problem_ = file_.path() + ": is not a speaker timeline";
  } else if (header_.version != kSpeakerTimelineVersion) {
    has_other_version_ = true;
    problem_ = file_.path() + ": has version " + std::to_string(header_.version) +
               ", this program reads version " + std::to_string(kSpeakerTimelineVersion) +
               "; use a later one";
  }
  return problem_.empty();
}

TimelineReader::Step TimelineReader::Next() {
  if (!NextLine()) return Step::kEnd;
  if (is_too_long_) return Step::kDamaged;
  entry_ = TimelineEntry();
  switch (ParseTimelineEntry(line_.substr(0, line_.size() - 1), &entry_)) {
    case TimelineLineKind::kEntry:
      return Step::kEntry;
    case TimelineLineKind::kUnknown:
      return Step::kUnknown;
    case TimelineLineKind::kDamaged:
      break;
  }
  return Step::kDamaged;
}

// Up to the length of a line. Null at the end, and where reading fails.
const uint8_t* TimelineReader::ViewAhead(size_t* size) {
  *size = std::min<uint64_t>(kMaxTimelineLineBytes, end() - position_);
  if (*size == 0) return nullptr;
  const uint8_t* const bytes = file_.View(position_, *size);
  if (bytes == nullptr) problem_ = file_.path() + ": " + file_.ReadFailureText();
  return bytes;
}

// False at the end of the whole lines.
bool TimelineReader::NextLine() {
  size_t size = 0;
  const uint8_t* const bytes = ViewAhead(&size);
  if (bytes == nullptr) return false;
  const auto* const newline = static_cast<const uint8_t*>(std::memchr(bytes, '\n', size));
  is_too_long_ = newline == nullptr;
  if (is_too_long_) {
    line_ = std::string_view();
    return SkipLine();
  }
  line_ = {reinterpret_cast<const char*>(bytes), static_cast<size_t>(newline - bytes) + 1};
  position_ += line_.size();
  return true;
}

bool TimelineReader::SkipLine() {
  size_t size = 0;
  while (const uint8_t* const bytes = ViewAhead(&size)) {
    const auto* const newline = static_cast<const uint8_t*>(std::memchr(bytes, '\n', size));
    position_ += newline == nullptr ? size : static_cast<size_t>(newline - bytes) + 1;
    if (newline != nullptr) return true;
  }
  return false;
}

}  // namespace kxrtc_host
