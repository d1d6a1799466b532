// The speaker timeline's name and limits (docs/speaker_timeline_format.md).
#ifndef RECORD_SPEAKERS_TIMELINE_FORMAT_H_
#define RECORD_SPEAKERS_TIMELINE_FORMAT_H_

#include <cstddef>
#include <cstdint>

namespace kxrtc_host {

// The file's name, put behind the folder path of the record. None of the record's four files has
// it.
inline constexpr char kSpeakerTimelineFileName[] = "SpeakerTimeline.ndjson";

inline constexpr uint32_t kSpeakerTimelineVersion = 1;
inline constexpr size_t kMaxTitleBytes = 1024;
inline constexpr size_t kMaxPersonNameBytes = 256;
inline constexpr size_t kMaxTimelineLineBytes = 8192;  // With its newline.

}  // namespace kxrtc_host

#endif  // RECORD_SPEAKERS_TIMELINE_FORMAT_H_
