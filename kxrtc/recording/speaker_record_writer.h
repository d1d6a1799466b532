// Writes a speaker record: its data files, its index and its descriptor. Knows the channel that is
// being recorded; the selector decides which (speaker_channel_selector.h).
// Threads: an object belongs to one thread at a time.
#ifndef KXRTC_RECORDING_SPEAKER_RECORD_WRITER_H_
#define KXRTC_RECORDING_SPEAKER_RECORD_WRITER_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "kx_utility/failure_log.h"
#include "kx_utility/file.h"
#include "kxrtc/recording/recorded_frame.h"
#include "kxrtc/recording/speaker_channel_selector.h"
#include "kxrtc/recording/speaker_record_descriptor.h"
#include "kxrtc/recording/speaker_record_format.h"
#include "kxrtc/recording/speaker_recorder_listener.h"

namespace kxrtc {

// Files are only appended to. A write that came out short is undone by seeking back, so that the
// next one covers it; nothing is truncated and nothing is retried.
class SpeakerRecordWriter {
 public:
  // `on_short_write` is called after a short write was undone, before the write reports its
  // failure.
  explicit SpeakerRecordWriter(std::function<void()> on_short_write);

  // Tells `listener`, which may be null, of every channel, attributes and frame record and of every
  // failed write from now on. Borrowed.
  void SetListener(SpeakerRecorderListener* listener) { listener_ = listener; }

  // Tell it of the start or the stop that was just written: the caller says when that has taken
  // effect. What the host throws ends the process here.
  void TellStarted() noexcept;
  void TellStopped() noexcept;

  // Create the three data files and the descriptor of the record at `path`, to which the names of
  // the files are appended without a separator. Files that were opened before a failure stay open
  // until Finalize().
  [[nodiscard]] bool CreateRecordFile(const std::string& path);
  [[nodiscard]] bool CreateDescriptor(const std::string& path);

  // Closes the files, the descriptor after a last rewrite, and forgets everything.
  void Finalize();

  // The mixer's audio format, for the descriptor.
  void SetAudioFormat(uint32_t channels, uint32_t unused1, uint32_t unused2);

  // Open and close a session. Times are recorder time.
  [[nodiscard]] bool WriteStartStreamingRecord(int64_t timestamp_us);
  [[nodiscard]] bool WriteStopStreamingRecord(int64_t timestamp_us);

  // Makes `info` the recorded channel after the switch is in the index. On false nothing
  // changed.
  [[nodiscard]] bool SwitchChannel(const VideoChannelInfo& info, SelectionReason reason,
                                   int64_t timestamp_us);

  // Nobody is recorded any more. Writes nothing: this goes with the start or stop of a session.
  void ForgetChannel();

  // Append a frame of the recorded channel, or of the mix.
  [[nodiscard]] bool WriteVideoFrame(const RecvEncodedVideoFrame& frame);
  [[nodiscard]] bool WriteAudioFrame(const RecvAudioFrame& frame);

  const VideoChannelInfo& current_channel() const { return current_channel_; }

 private:
  // One of the three files, as reported to the listener.
  kx_utility::File* FileOf(RecordFile file);

  [[nodiscard]] bool WriteNewVideoAttributesRecord(const RecvEncodedVideoFrame& frame);
  [[nodiscard]] bool WriteDataRecord(RecordFile file, int64_t timestamp_us, uint64_t position,
                                     uint32_t size);
  [[nodiscard]] bool WriteToFile(RecordFile file, const uint8_t* data, uint32_t size);
  [[nodiscard]] bool WriteToIndexFile(SpeakerRecordHeader header, const uint8_t* payload,
                                      uint32_t payload_size);
  // Before a write of `size` bytes: logs and tells that `step` failed. Always false.
  [[nodiscard]] bool FailedAt(RecordFile file, uint32_t size, const char* step,
                              kx_utility::CallSite site = kx_utility::Here());
  // After a short write: false, whether it could be undone or not.
  [[nodiscard]] bool Undo(RecordFile file, size_t start, uint32_t size, kx_utility::CallSite site);

  // The same for the other events.
  void TellSelection(const VideoChannelInfo& info, SelectionReason reason) noexcept;
  void TellAttributes(const VideoAttributes& attributes) noexcept;
  void TellFrame(RecordFile file, uint64_t position, uint32_t size) noexcept;
  void TellFailure(RecordFile file, uint32_t size, bool stops_recording) noexcept;

  std::function<void()> on_short_write_;
  SpeakerRecorderListener* listener_ = nullptr;
  kx_utility::File video_file_;
  kx_utility::File audio_file_;
  kx_utility::File index_file_;
  SpeakerRecordDescWriter desc_writer_;
  VideoChannelInfo current_channel_;
  int64_t last_index_timestamp_us_ = 0;
  VideoAttributes last_video_attributes_;
};

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_SPEAKER_RECORD_WRITER_H_
