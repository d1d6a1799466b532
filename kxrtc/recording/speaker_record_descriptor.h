// Writes and reads the descriptor of a speaker record, the JSON summary that stands beside the
// index and the data files (docs/speaker_record_format.md).
#ifndef KXRTC_RECORDING_SPEAKER_RECORD_DESCRIPTOR_H_
#define KXRTC_RECORDING_SPEAKER_RECORD_DESCRIPTOR_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "kx_utility/export.h"
#include "kx_utility/file.h"

namespace Json {
class Value;
}

namespace kxrtc {

// The reader refuses a longer document: about 64,000 sessions in the writer's form.
inline constexpr size_t kMaxDescriptorSize = size_t{16} << 20;

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

// Set the members of `*object`, which is null or an object, under the names of the fields.
KX_EXPORT void SpeakerRecordOverallToJson(const SpeakerRecordOverall& overall, Json::Value* object);
KX_EXPORT void SpeakerRecordSessionToJson(const SpeakerRecordSession& session, Json::Value* object);

// Take a member that was written as an integer and fits the type. 1000.0 is not an integer here.
// On false `*out` is untouched.
[[nodiscard]] KX_EXPORT bool GetInt64FromJsonObject(const Json::Value& object,
                                                    const std::string& key, int64_t* out);
[[nodiscard]] KX_EXPORT bool GetUInt64FromJsonObject(const Json::Value& object,
                                                     const std::string& key, uint64_t* out);

// Keeps the descriptor of a growing record up to date.
// Threads: an object belongs to one thread at a time.
class KX_EXPORT SpeakerRecordDescWriter {
 public:
  SpeakerRecordDescWriter() = default;
  ~SpeakerRecordDescWriter();  // Calls Finalize().
  SpeakerRecordDescWriter(const SpeakerRecordDescWriter&) = delete;
  SpeakerRecordDescWriter& operator=(const SpeakerRecordDescWriter&) = delete;

  // Begins an empty record in a new, truncated file, finishing the former one first. The file stays
  // empty until the first event.
  [[nodiscard]] bool Initialize(const std::string& file_name);

  // Writes the document a last time and closes the file. Always true.
  bool Finalize();

  // Keeps the first value of the mixer's audio format, the channel count. The others are unused.
  void SetAudioFormat(uint32_t channels, uint32_t unused1, uint32_t unused2);

  // Events of the record, in recorder time. All but OnRecordStart() need an open session. An event
  // that comes when it cannot is logged and changes nothing. Start, switch and audio frame rewrite
  // the file.
  void OnRecordStart(int64_t timestamp_us);  // Closes a session that is still open.
  void OnRecordStop(int64_t timestamp_us);
  void OnVideoSwitch(bool is_desktop, int64_t timestamp_us);
  void OnRecordVideoFrame(int64_t timestamp_us);
  void OnRecordAudioFrame(int64_t timestamp_us);

  // Writes the whole document from the start of the file on.
  bool WriteToFile();

 private:
  bool HasOpenSession(const char* event) const;
  std::string RenderDocument() const;
  void Reset();

  bool initialized_ = false;
  SpeakerRecordOverall overall_;
  std::vector<SpeakerRecordSession> sessions_;
  SpeakerRecordSession* current_session_ = nullptr;  // The last of sessions_ while it is open.
  // The text of all sessions but the last: they do not change any more, and the document is
  // rewritten for each audio frame.
  std::string earlier_sessions_text_;
  kx_utility::File file_;
};

// Loads and checks a descriptor.
// Threads: an object belongs to one thread at a time.
class KX_EXPORT SpeakerRecordDescReader {
 public:
  SpeakerRecordDescReader() = default;
  ~SpeakerRecordDescReader();  // Calls Finalize().
  SpeakerRecordDescReader(const SpeakerRecordDescReader&) = delete;
  SpeakerRecordDescReader& operator=(const SpeakerRecordDescReader&) = delete;

  // Loads and checks the whole document, at most kMaxDescriptorSize bytes. Forgets what an earlier
  // call loaded, also on failure: then the failing step is logged, the result is false and every
  // Get...() answers false.
  [[nodiscard]] bool Initialize(const std::string& file_name);

  // Forgets what was loaded. Always true.
  bool Finalize();

  // Copy the counts and flags of the whole record, or one session by its place in start order.
  // On false `*out` is untouched.
  [[nodiscard]] bool GetSpeakerRecordOverall(SpeakerRecordOverall* out) const;
  [[nodiscard]] bool GetSpeakerRecordSession(uint32_t index, SpeakerRecordSession* out) const;

 private:
  [[nodiscard]] bool ReadFromFile(const std::string& file_name, Json::Value* root) const;
  [[nodiscard]] bool ParseSpeakerRecordOverall(const Json::Value& root,
                                               SpeakerRecordOverall* overall) const;
  [[nodiscard]] bool ParseSpeakerRecrodSessions(  // sic
      const Json::Value& root, std::vector<SpeakerRecordSession>* sessions) const;
  [[nodiscard]] bool ParseSpeakerRecrodSession(  // sic
      const Json::Value& value, SpeakerRecordSession* session) const;

  bool initialized_ = false;
  SpeakerRecordOverall overall_;
  std::vector<SpeakerRecordSession> sessions_;
};

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_SPEAKER_RECORD_DESCRIPTOR_H_
