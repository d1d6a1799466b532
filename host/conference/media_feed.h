// Plays one source into the conference in real time: access units to the recorder's video entry,
// decoded sound into a track of the audio room.
// Threads: Open(), Start(), Stop(), HasEnded() and destruction belong to one control thread; the
// other operations any. Two threads of its own run between Start() and Stop(): one reads ahead, one
// sends each picture at its time.
#ifndef HOST_CONFERENCE_MEDIA_FEED_H_
#define HOST_CONFERENCE_MEDIA_FEED_H_

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/conference/audio_decoder.h"
#include "host/conference/conference_clock.h"
#include "host/conference/media_source.h"
#include "host/conference/media_tap.h"
#include "host/conference/notices.h"
#include "host/conference/paced_queue.h"
#include "host/conference/sound_track.h"
#include "host/conference/source_clock.h"
#include "host/conference/stop_signal.h"
#include "host/conference/video_normalizer.h"
#include "kxrtc/recording/video_frame_relay.h"

namespace kxrtc_host {

// Where the media of a feed go. The objects outlive the feed.
struct FeedOutlet {
  kxrtc::VideoFrameRelayCallback* video = nullptr;  // Null: no video is wanted.
  uint32_t ssrc = 0;
  SoundTrack* audio = nullptr;  // Null: no sound is wanted.
  bool audio_required = false;
  MediaTap* tap = nullptr;  // May be null.
};

class MediaFeed {
 public:
  // `clock` and `notices` outlive the feed.
  MediaFeed(const MediaSpec& media, const FeedOutlet& outlet, const ConferenceClock* clock,
            Notices* notices);
  ~MediaFeed();  // Calls Stop(), and waits for a source that it has left behind.
  MediaFeed(const MediaFeed&) = delete;
  MediaFeed& operator=(const MediaFeed&) = delete;

  // Opens the source and prepares its streams. A live source is read from now on, so that it does
  // not pile up. Except for kNone, `*error` says why in one line.
  [[nodiscard]] MediaProblem Open(int64_t timeout_us, std::string* error);

  // Stops an Open() on another thread.
  void Interrupt() { source_.Interrupt(); }

  // Plays a file from its beginning at `origin_us` on the conference's clock. A source that is
  // already playing continues. Does not wait for the source.
  void Start(int64_t origin_us);

  // Stops playing. The next Start() plays a file from its beginning. A live source is closed. A
  // source that does not come back from the system in a moment is left behind.
  void Stop();

  // Switches pictures on or off. They start with a key frame.
  void SetSending(bool sending) { sending_.store(sending, std::memory_order_relaxed); }

  const std::string& source() const { return media_.source; }
  bool live() const { return media_.live; }
  bool has_audio() const { return has_audio_.load(std::memory_order_relaxed); }

  // True when the source has ended and everything was sent.
  bool HasEnded() const;

 private:
  MediaProblem OpenStreams(int64_t timeout_us, std::string* error);
  void StartThreads();
  bool CollectReader(std::chrono::milliseconds at_most);
  void ReadLoop();
  bool ReadOne();  // False at the end.
  bool StartOver();
  void WaitForRoom();
  int64_t DueAt(int64_t media_us);
  void TakeVideo();
  bool Enqueue(VideoFrame* frame);
  void TakeAudio();
  void PlaceAudio(int64_t due_us, const float* interleaved, size_t samples);
  void SendLoop();
  void Send(const VideoFrame& frame);
  void Notice(const std::string& text);

  const MediaSpec media_;
  const FeedOutlet outlet_;
  const ConferenceClock* const clock_;
  Notices* const notices_;

  // Used by the reading thread while it runs.
  MediaSource source_;
  VideoNormalizer normalizer_;
  AudioDecoder decoder_;
  PacketHandle packet_;
  std::vector<VideoFrame> frames_;
  FileClock file_clock_;
  LiveClock live_clock_;
  int64_t loop_offset_us_ = 0;  // Length of the loops that were played.
  int64_t media_end_us_ = 0;    // The end of the media read so far.
  int64_t video_read_us_ = 0;   // How far the streams were read, on the conference's clock.
  int64_t audio_read_us_ = 0;
  int64_t next_sample_ = 0;  // Where the sound continues; valid with `audio_placed_`.
  bool audio_placed_ = false;
  bool skips_to_key_frame_ = false;  // Live video was lost.
  bool overflow_noticed_ = false;
  bool damage_noticed_ = false;
  bool reorder_noticed_ = false;

  bool open_ = false;  // Used by the reading thread while it runs.
  std::atomic<bool> has_audio_{false};
  std::atomic<bool> sending_{false};
  std::atomic<bool> at_end_{false};
  std::atomic<int64_t> sound_end_us_{0};  // With `at_end_`: when the last sound ends.
  std::unique_ptr<PacedQueue> queue_;
  std::unique_ptr<StopSignal> stop_;
  std::thread reader_;
  std::future<void> reader_end_;
  bool left_behind_ = false;  // The reading thread, by Stop().
  std::thread sender_;
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_MEDIA_FEED_H_
