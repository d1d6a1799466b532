// The reference MP4 writer on FFmpeg's libraries.
#ifndef HOST_MP4_MP4_SINK_WRITER_IMP_H_
#define HOST_MP4_MP4_SINK_WRITER_IMP_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "files/output_file.h"
#include "host/ffmpeg/h264_encoder.h"
#include "host/mp4/audio_track.h"
#include "host/mp4/icon_filter.h"
#include "host/mp4/mp4_muxer.h"
#include "host/mp4/writer_options.h"
#include "host/mp4/writer_report.h"
#include "kxrtc/recording/mp4_sink_writer.h"
#include "record/parts/kept_parts.h"
#include "record/timing/file_timeline.h"

namespace kxrtc_host {

// Writes one file. A failure that ends it is kept in status() and reported once through the
// observer as kMp4SinkWriterFatalError; pushing then answers false.
// Threads: as Mp4SinkWriter says; Discard(), media_time_us() and video_samples() any; status()
// after StopStreaming().
class Mp4SinkWriterImp final : public kxrtc::Mp4SinkWriter {
 public:
  explicit Mp4SinkWriterImp(const Mp4SinkWriterOptions& options);
  ~Mp4SinkWriterImp();

  bool StartStreaming(const char* output_path, const kxrtc::VideoConfig* video,
                      const kxrtc::AudioConfig* audio,
                      kxrtc::Mp4SinkWriterObserver* observer) override;
  void StopStreaming() override;
  bool SetNewInputVideoAttributes(uint32_t width, uint32_t height, int32_t rotation_angle) override;
  bool PushVideoSample(int64_t timestamp_us, const uint8_t* data, uint32_t size) override;
  bool PushAudioSample(int64_t timestamp_us, const uint8_t* data, uint32_t size) override;

  // The writer logs through the library; a path of its own is accepted and not used.
  bool SetTRVVlogPath(const char* log_path) override;
  // There is no Direct3D here: handles are accepted and not used, capabilities unknown.
  bool SetD3dManger(void* d3d11m, void* d3d9m) override;
  bool SetPreferHW(bool preferHW) override;
  bool SetDx9Caps(int caps) override;
  bool GetDx9Caps(int* caps) override;
  bool GetDx9CapsType(int* type) override;

  // All work ends soon, and StopStreaming() removes what was written instead of finishing it.
  void Discard() { discard_.store(true, std::memory_order_release); }

  // How far the audio has come, microseconds of the file.
  int64_t media_time_us() const { return media_time_us_.load(std::memory_order_relaxed); }

  // How many video samples were pushed so far.
  uint64_t video_samples() const { return video_samples_.load(std::memory_order_relaxed); }

  const Mp4WriterStatus& status() const { return report_.status; }

 private:
  bool IsDiscarded() const { return discard_.load(std::memory_order_acquire); }
  bool Accepts(WriterFailure kind, int64_t timestamp_us, const uint8_t* data, uint32_t size);
  bool CheckConfigs(const kxrtc::VideoConfig* video, const kxrtc::AudioConfig* audio);
  template <typename Body>
  bool Guard(WriterFailure failure, Body body);
  bool OpenFile(const char* output_path);
  bool MakeTracks(const kxrtc::VideoConfig& video, const kxrtc::AudioConfig& audio);
  bool MakeVideoTrack(const kxrtc::VideoConfig& video);
  void SetParts(const PartRequest& parts);
  std::unique_ptr<H264Encoder> OpenEncoder(const EncoderSettings& settings,
                                           std::vector<std::string>* obstacles);
  std::unique_ptr<ChannelFollower> FollowShares() const;
  bool Finish();
  bool FinishTracks();
  bool SetChapters();
  bool AppendMark();
  void TellMissing();
  void TellVideoClock();
  void TellTimestamps();
  bool Settle(bool ok);

  const Mp4SinkWriterOptions options_;
  kxrtc::Mp4SinkWriterObserver* observer_ = nullptr;
  bool prefer_hardware_ = true;
  bool started_ = false;
  bool error_reported_ = false;
  std::atomic<bool> discard_{false};
  std::atomic<int64_t> media_time_us_{0};
  std::atomic<uint64_t> video_samples_{0};
  WriterReport report_;
  KeptParts parts_;
  OutputFile file_;
  std::unique_ptr<Mp4Muxer> muxer_;
  std::unique_ptr<IconFilter> video_track_;
  std::unique_ptr<FileTimeline> timeline_;
  std::unique_ptr<AudioTrack> audio_track_;
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_MP4_SINK_WRITER_IMP_H_
