// The descriptor of a speaker record as a JSON document: its content, the names of its members
// and its text (docs/speaker_record_format.md). Writer, reader, tests and tools all take it from
// here. Threads: any; a SpeakerRecordDescText belongs to one thread at a time.
#ifndef KXRTC_RECORDING_SPEAKER_RECORD_DESCRIPTOR_DOCUMENT_H_
#define KXRTC_RECORDING_SPEAKER_RECORD_DESCRIPTOR_DOCUMENT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kx_utility/export.h"

namespace Json {
class Value;
}

namespace kxrtc {

// Counts and flags of a whole record.
struct SpeakerRecordOverall {
  uint32_t record_session_count = 0;
  uint32_t contain_video = 0;    // 0 or 1.
  uint32_t contain_desktop = 0;  // 0 or 1.
  uint32_t audio_channel_count = 0;
};

// One span between a start and a stop. Times are recorder time in microseconds, the clock of the
// index records.
struct SpeakerRecordSession {
  int64_t sessoin_start_timestamp_us = 0;  // sic
  int64_t sessoin_end_timestamp_us = 0;    // sic
  uint64_t session_video_frame_count = 0;
  uint64_t session_audio_frame_count = 0;
  uint32_t session_video_switch_count = 0;
};

// The names of the document's members.
namespace descriptor_key {

inline constexpr char kOverall[] = "speaker_record_overall";  // An object of the four that follow.
inline constexpr char kSessionCount[] = "record_session_count";
inline constexpr char kContainVideo[] = "contain_video";
inline constexpr char kContainDesktop[] = "contain_desktop";
inline constexpr char kAudioChannelCount[] = "audio_channel_count";

inline constexpr char kSessions[] = "speaker_record_session";  // Objects of the five that follow.
inline constexpr char kStartTimestamp[] = "sessoin_start_timestamp_us";  // sic
inline constexpr char kEndTimestamp[] = "sessoin_end_timestamp_us";      // sic
inline constexpr char kVideoFrameCount[] = "session_video_frame_count";
inline constexpr char kAudioFrameCount[] = "session_audio_frame_count";
inline constexpr char kVideoSwitchCount[] = "session_video_switch_count";

}  // namespace descriptor_key

// Set the members of `*object`, which is null or an object.
KX_EXPORT void SpeakerRecordOverallToJson(const SpeakerRecordOverall& overall, Json::Value* object);
KX_EXPORT void SpeakerRecordSessionToJson(const SpeakerRecordSession& session, Json::Value* object);

// The text of a whole descriptor.
[[nodiscard]] KX_EXPORT std::string RenderSpeakerRecordDesc(
    const SpeakerRecordOverall& overall, const std::vector<SpeakerRecordSession>& sessions);

// The same text again and again for a growing record, at the cost of one session: a session that
// another one follows does not change any more, so its text is kept.
class KX_EXPORT SpeakerRecordDescText {
 public:
  // Makes the text of a JSON value.
  using Style = std::string (*)(const Json::Value& value);

  SpeakerRecordDescText();  // In the style of RenderSpeakerRecordDesc().
  explicit SpeakerRecordDescText(Style style) : style_(style) {}

  // Every call has all sessions of the call before, unchanged but for its last one, and perhaps
  // more behind them.
  [[nodiscard]] std::string Render(const SpeakerRecordOverall& overall,
                                   const std::vector<SpeakerRecordSession>& sessions);

  // Starts another record.
  void Reset();

 private:
  bool KeepEarlierSessions(const std::vector<SpeakerRecordSession>& sessions);
  bool Splice(const SpeakerRecordOverall& overall,
              const std::vector<SpeakerRecordSession>& sessions, std::string* document);

  enum class Way {
    kUnproven,  // The first spliced text is compared with that of the whole document.
    kSplice,    // It was the same.
    kWhole,     // It was not: the style is not the expected one, every document is rendered whole.
  };

  Style style_;
  Way way_ = Way::kUnproven;
  std::string earlier_text_;  // Of all sessions but the last, each with its separator.
  size_t earlier_count_ = 0;
};

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_SPEAKER_RECORD_DESCRIPTOR_DOCUMENT_H_
