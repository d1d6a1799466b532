// One file or live stream, opened with libavformat and read packet by packet.
// Threads: one thread at a time uses an object; Interrupt() may be called from any.
#ifndef HOST_CONFERENCE_MEDIA_SOURCE_H_
#define HOST_CONFERENCE_MEDIA_SOURCE_H_

#include <atomic>
#include <cstdint>
#include <string>

#include "host/conference/local_input.h"
#include "host/ffmpeg/ffmpeg_input_handles.h"
#include "host/scenario/scenario.h"
#include "host/scenario/source_access.h"

namespace kxrtc_host {

// Why a source that stays silent cannot be opened.
inline constexpr char kNoDataText[] = "no data within the time allowed";

enum class MediaProblem { kNone, kUnreadable, kWrongCodec };

// Which streams of a source are wanted.
struct MediaNeeds {
  bool video = false;  // Required.
  bool audio = false;
  bool audio_required = false;
};

class MediaSource {
 public:
  enum class Kind { kVideo, kAudio, kEnd, kFailed };

  ~MediaSource();

  // Opens `media` and finds its streams within `timeout_us`. Except for kNone, `*error` says
  // why in one line with the source, and nothing is open.
  [[nodiscard]] MediaProblem Open(const MediaSpec& media, const MediaNeeds& needs,
                                  int64_t timeout_us, std::string* error);
  void Close();

  // Reads the next packet of a wanted stream. kVideo and kAudio: `*packet` has it with its times
  // in microseconds since the beginning of the source, for a live source since an arbitrary moment;
  // video is timed in the order of decoding. kEnd and kFailed: nothing more comes; `*error` has
  // the failure. Waits for a live source.
  [[nodiscard]] Kind Read(AVPacket* packet, std::string* error);

  // Stops Open() and Read(), including later calls, until Close().
  void Interrupt() { interrupted_.store(true, std::memory_order_release); }

  const AVStream* video() const { return video_; }  // Null when there is none.
  const AVStream* audio() const { return audio_; }

  // True if the display order differs from the decoding order.
  bool reorders_pictures() const { return reorders_; }

 private:
  void Reset();
  bool OpenInput(const MediaSpec& media, std::string* error);
  bool OpenBytes(const MediaSpec& media, const SourceAccess& access, std::string* error);
  bool FindFormat(const MediaSpec& media, const SourceAccess& access, const AVInputFormat** format,
                  std::string* error);
  static std::string OpeningErrorText(int code);
  AVIOContext* Bytes() const { return stream_ != nullptr ? stream_.get() : local_.io(); }
  MediaProblem FindStreams(const MediaSpec& media, const MediaNeeds& needs, std::string* error);
  int64_t VideoTime(const AVPacket& packet);
  static int ShouldStop(void* self);

  LocalInput local_;  // At most one of the two; the demuxer reads from it.
  InputBytesHandle stream_;
  FormatInputHandle input_;
  AVStream* video_ = nullptr;
  AVStream* audio_ = nullptr;
  double frame_rate_ = 0;      // For video without timing.
  int64_t origin_us_ = 0;      // Time of the source's first packet.
  int64_t reorder_us_ = -1;    // Delay from decoding to display of the first picture; -1: unknown.
  int64_t next_video_us_ = 0;  // The time for a picture without a time.
  bool reorders_ = false;
  std::atomic<bool> interrupted_{false};
  std::atomic<int64_t> deadline_us_{0};  // On libavutil's relative clock; 0: none.
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_MEDIA_SOURCE_H_
