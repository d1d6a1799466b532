// Writes one video and one audio track to an MP4 file with libavformat, the index first.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_MP4_MP4_MUXER_H_
#define HOST_MP4_MP4_MUXER_H_

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "files/gathered_output.h"
#include "host/ffmpeg/ffmpeg_handles.h"
#include "host/ffmpeg/output_file_io.h"
#include "host/mp4/writer_options.h"
#include "host/mp4/writer_report.h"
#include "record/index/frame_limit.h"

namespace kxrtc_host {

struct VideoTrackInfo {
  std::vector<uint8_t> decoder_configuration;  // AVCDecoderConfigurationRecord, 4-byte lengths.
  uint32_t width = 0;                          // Pixels.
  uint32_t height = 0;
  uint32_t ticks_per_second = 0;  // Unit of the track's times, at least 10000.
  uint32_t frame_rate = 0;        // 0: it varies.
};

struct AudioTrackInfo {
  std::vector<uint8_t> audio_specific_config;
  uint32_t channel_count = 0;
};

// When a sample is decoded and shown, in the unit of its track; decode times increase.
struct Mp4SampleTimes {
  int64_t presentation_time = 0;
  int64_t decode_time = 0;
  int64_t duration = 0;
};

struct Mp4Sample : Mp4SampleTimes {
  bool is_key = false;
  const uint8_t* data = nullptr;
  uint32_t size = 0;
};

class Mp4Muxer {
 public:
  // Lengths in place of start codes make a frame of many small NAL units larger.
  static constexpr uint32_t kMaxSampleBytes = 2 * kMaxFrameBytes;

  // The limit for samples in memory until both tracks are described.
  static constexpr uint64_t kMaxWaitingBytes = 16 << 20;

  // `file` is open and, like `report`, outlives the muxer.
  // The file gets title and time of `tags`, and room for as many chapters.
  Mp4Muxer(OutputFile* file, WriterReport* report, const SampleBounds& bounds, Mp4Tags tags = {});
  ~Mp4Muxer();
  Mp4Muxer(const Mp4Muxer&) = delete;
  Mp4Muxer& operator=(const Mp4Muxer&) = delete;

  // Each track is described once, before its first sample. Samples wait, up to a limit, until both
  // tracks are described. A track that is described later is left out, with a warning.
  void DescribeVideo(const VideoTrackInfo& info);
  void DescribeAudio(const AudioTrackInfo& info);

  // The file has no video track, so the audio does not wait for its description.
  void ExpectNoVideo() { expects_video_ = false; }

  // Room for the bytes of one sample, which are then not copied (GatheredOutput::Room()).
  [[nodiscard]] uint8_t* Room(uint32_t size) { return output_.Room(size); }

  // Writes in the order of the calls. False: the report says why, and all later calls fail.
  [[nodiscard]] bool WriteVideo(const Mp4Sample& sample) { return Write(kVideo, sample); }
  [[nodiscard]] bool WriteAudio(const Mp4Sample& sample) { return Write(kAudio, sample); }

  // Takes a picture whose times are not known yet. It waits for them in memory, and all samples
  // that come later wait behind it. SetTimes() gives the times to the first picture without them,
  // LeaveOut() drops it.
  void HoldVideo(const Mp4Sample& sample);
  [[nodiscard]] bool SetTimes(const Mp4SampleTimes& times);
  [[nodiscard]] bool LeaveOut();
  uint64_t waiting_bytes() const { return waiting_bytes_; }

  // Players turn the video track clockwise by `rotation` degrees. Call any time before Finish().
  void SetRotation(int32_t rotation);

  // The size for players, if it is not the one described. Call any time before Finish().
  void SetSize(uint32_t width, uint32_t height);

  // The chapters of the file: in its microseconds, by their start, each before `end_us`. False as
  // above. Call before Finish(), after the last sample.
  [[nodiscard]] bool SetChapters(const std::vector<Chapter>& chapters, int64_t end_us);

  // Writes the waiting samples and the index. False as above; kNothing when there was no sample.
  [[nodiscard]] bool Finish();

 private:
  enum Track { kVideo = 0, kAudio = 1, kTrackCount };
  struct WaitingSample {
    Track track;
    Mp4Sample sample;  // Its data pointer is not used.
    std::string bytes;
    bool has_times;
  };
  struct TrackCounts {
    uint64_t samples = 0;
    uint64_t bytes = 0;
    uint64_t runs = 0;  // Of samples without one of the other track between them.
  };

  bool Write(Track track, const Mp4Sample& sample);
  bool WriteNow(Track track, const Mp4Sample& sample);
  bool HasWaitedEnough() const;
  static uint64_t WaitingBytes(const WaitingSample& waiting);
  std::deque<WaitingSample>::iterator FirstHeld();
  bool GoOn();
  void KeepWaiting(Track track, const Mp4Sample& sample, bool has_times);
  bool Begin();
  void AddVideoStream();
  void AddAudioStream();
  bool WriteHeader();
  uint64_t IndexBytes(uint64_t video_samples, uint64_t audio_frames, uint64_t chunks) const;
  uint64_t BytesToReserve() const;
  bool WriteWaiting();
  bool MakeRoomForIndex();
  bool WriteSize();
  bool Check(const char* step, int result);

  OutputFile* const file_;
  WriterReport* const report_;
  const SampleBounds bounds_;
  const Mp4Tags tags_;
  GatheredOutput output_;
  OutputFileIoHandle io_;  // Outlives format_, which uses it.
  FormatContextHandle format_;
  PacketHandle packet_;
  VideoTrackInfo video_;
  AudioTrackInfo audio_;
  bool described_[kTrackCount] = {};
  bool expects_video_ = true;
  bool begun_ = false;
  AVStream* streams_[kTrackCount] = {};  // Null: the file has no such track.
  std::deque<WaitingSample> waiting_;
  uint64_t waiting_bytes_ = 0;
  TrackCounts counts_[kTrackCount];
  uint64_t left_out_[kTrackCount] = {};
  int last_track_ = kTrackCount;
  uint64_t reserved_ = 0;  // Bytes reserved for the index.
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_MP4_MUXER_H_
