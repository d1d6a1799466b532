// Writes and reads the descriptor of a speaker record, the JSON summary next to the
// index and the data files (docs/speaker_record_format.md).
#ifndef KXRTC_RECORDING_SPEAKER_RECORD_DESCRIPTOR_H_
#define KXRTC_RECORDING_SPEAKER_RECORD_DESCRIPTOR_H_

#include <cstdint>
#include <string>
#include <vector>

#include "kx_utility/export.h"
#include "kx_utility/failure_log.h"
#include "kx_utility/file.h"
#include "kxrtc/recording/speaker_record_descriptor_document.h"

namespace Json {
class Value;
}

namespace kxrtc {

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
  // the file. None throws: a session that finds no memory is logged and left out, a rewrite that
  // finds none has failed.
  void OnRecordStart(int64_t timestamp_us);  // Closes a session that is still open.
  void OnRecordStop(int64_t timestamp_us);
  void OnVideoSwitch(bool is_desktop, int64_t timestamp_us);
  void OnRecordVideoFrame(int64_t timestamp_us);
  void OnRecordAudioFrame(int64_t timestamp_us);

  // Writes the whole document from the start of the file on.
  bool WriteToFile();

 private:
  bool HasOpenSession(const char* event) const;
  void Reset();

  bool initialized_ = false;
  SpeakerRecordOverall overall_;
  std::vector<SpeakerRecordSession> sessions_;
  SpeakerRecordSession* current_session_ = nullptr;  // The last of sessions_ while it is open.
  SpeakerRecordDescText text_;  // The document is rewritten for each audio frame.
  kx_utility::File file_;
};

// Loads and checks a descriptor. Throws nothing: a descriptor for which there is no memory is
// refused.
// Threads: an object belongs to one thread at a time.
class KX_EXPORT SpeakerRecordDescReader {
 public:
  SpeakerRecordDescReader() = default;
  ~SpeakerRecordDescReader();  // Calls Finalize().
  SpeakerRecordDescReader(const SpeakerRecordDescReader&) = delete;
  SpeakerRecordDescReader& operator=(const SpeakerRecordDescReader&) = delete;

  // Loads and checks the whole document, up to its first zero byte; its size is limited by memory
  // only. Forgets what an earlier call loaded, also on failure: then the failing step is logged,
  // the result is false and every Get...() returns false.
  [[nodiscard]] bool Initialize(const std::string& file_name);

  // The same with the text of a descriptor, for a host that read it by other means: Initialize()
  // opens the file for writing too.
  [[nodiscard]] bool InitializeFromText(std::string text);

  // Forgets what was loaded. Always true.
  bool Finalize();

  // Copy the counts and flags of the whole record, or one session by its place in start order.
  // On false `*out` is untouched.
  [[nodiscard]] bool GetSpeakerRecordOverall(SpeakerRecordOverall* out) const;
  [[nodiscard]] bool GetSpeakerRecordSession(uint32_t index, SpeakerRecordSession* out) const;

 private:
  [[nodiscard]] bool ReadFromFile(const std::string& file_name, Json::Value* root) const;
  [[nodiscard]] bool Parse(const Json::Value& root, kx_utility::CallSite site);
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
