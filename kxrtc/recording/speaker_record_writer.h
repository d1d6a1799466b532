// Writes a speaker record: its data files, its index and its descriptor. Knows the channel that is
// being recorded; which one that shall be is decided elsewhere (speaker_channel_selector.h).
// Threads: an object belongs to one thread at a time.
#ifndef KXRTC_RECORDING_SPEAKER_RECORD_WRITER_H_
#define KXRTC_RECORDING_SPEAKER_RECORD_WRITER_H_

#include <cstdint>
#include <functional>
#include <string>

#include "kx_utility/file.h"
#include "kxrtc/recording/recorded_frame.h"
#include "kxrtc/recording/speaker_channel_selector.h"
#include "kxrtc/recording/speaker_record_descriptor.h"
#include "kxrtc/recording/speaker_record_format.h"

namespace kxrtc {

// Files are only appended to. A write that came out short is undone by seeking back, so that the
// next one covers it; nothing is truncated and nothing is retried.
class SpeakerRecordWriter {
 public:
  // `on_short_write` is called after a short write was undone, before the write reports its
  // failure.
  explicit SpeakerRecordWriter(std::function<void()> on_short_write);

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

  // Makes `info` the recorded channel once the switch stands in the index. On false nothing
  // changed.
  [[nodiscard]] bool SwitchChannel(const VideoChannelInfo& info, int64_t timestamp_us);

  // Nobody is recorded any more. Writes nothing: this goes with the start or stop of a session.
  void ForgetChannel();

  // Append a frame of the recorded channel, or of the mix.
  [[nodiscard]] bool WriteVideoFrame(const RecvEncodedVideoFrame& frame);
  [[nodiscard]] bool WriteAudioFrame(const RecvAudioFrame& frame);

  const VideoChannelInfo& current_channel() const { return current_channel_; }

 private:
  [[nodiscard]] bool WriteNewVideoAttributesRecord(const RecvEncodedVideoFrame& frame);
  [[nodiscard]] bool WriteDataRecord(uint32_t type, int64_t timestamp_us, uint64_t position,
                                     uint32_t size);
  [[nodiscard]] bool WriteToFile(kx_utility::File* file, const uint8_t* data, uint32_t size);
  [[nodiscard]] bool WriteToIndexFile(SpeakerRecordHeader header, const uint8_t* payload,
                                      uint32_t payload_size);

  std::function<void()> on_short_write_;
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
