#include "host/conference/media_feed.h"

#include <algorithm>

#include "host/conference/audio_format.h"
#include "host/conference/thread_priority.h"

namespace kxrtc_host {
namespace {

// How far a file is read ahead of what was sent: both streams at least kReadAheadUs, sound at most
// kMaxSoundAheadUs, which fits into a SoundTrack.
constexpr int64_t kReadAheadUs = 500000;
constexpr int64_t kMaxSoundAheadUs = 3000000;
constexpr int64_t kRoomPollUs = 20000;
constexpr int64_t kReopenTimeoutUs = 5000000;

// How long the conference waits for a source that shall end. One that can be interrupted is faster.
constexpr std::chrono::milliseconds kMoment(200);
constexpr std::chrono::milliseconds kNow(0);

// After so many pictures without a key frame the user gets a notice.
constexpr int kManyFrames = 300;

// Sound that is less than this away from its place continues directly after the previous sound, so
// that rounding and jitter make no gaps.
constexpr int64_t kSoundToleranceSamples = kAudioSampleRate * 30 / 1000;

}  // namespace

MediaFeed::MediaFeed(const MediaSpec& media, const FeedOutlet& outlet, const ConferenceClock* clock,
                     Notices* notices)
    : media_(media),
      outlet_(outlet),
      clock_(clock),
      notices_(notices),
      packet_(av_packet_alloc()),
      queue_(std::make_unique<PacedQueue>(clock)),
      stop_(std::make_unique<StopSignal>()) {}

MediaFeed::~MediaFeed() {
  Stop();
  if (reader_.joinable()) reader_.join();
}

void MediaFeed::Notice(const std::string& text) { notices_->Add(media_.source + ": " + text); }

MediaProblem MediaFeed::OpenStreams(int64_t timeout_us, std::string* error) {
  MediaNeeds needs;
  needs.video = outlet_.video != nullptr;
  needs.audio = outlet_.audio != nullptr;
  needs.audio_required = outlet_.audio_required;
  const MediaProblem problem = source_.Open(media_, needs, timeout_us, error);
  if (problem != MediaProblem::kNone) return problem;
  const bool has_audio = source_.audio() != nullptr;
  has_audio_.store(has_audio, std::memory_order_relaxed);
  std::string why;
  if (source_.video() != nullptr && !normalizer_.Open(*source_.video(), &why)) {
    *error = media_.source + ": " + why;
    return MediaProblem::kUnreadable;
  }
  if (has_audio && !decoder_.Open(*source_.audio(), &why)) {
    *error = media_.source + ": " + why;
    return MediaProblem::kUnreadable;
  }
  return MediaProblem::kNone;
}

MediaProblem MediaFeed::Open(int64_t timeout_us, std::string* error) {
  if (packet_ == nullptr) {
    *error = "out of memory";
    return MediaProblem::kUnreadable;
  }
  const MediaProblem problem = OpenStreams(timeout_us, error);
  open_ = problem == MediaProblem::kNone;
  if (open_ && media_.live) StartThreads();
  return problem;
}

void MediaFeed::Start(int64_t origin_us) {
  if (left_behind_ && !CollectReader(kNow)) {
    Notice("does not respond, it is not played again");
    return;
  }
  if (reader_.joinable()) return;
  file_clock_ = FileClock(origin_us);
  StartThreads();
}

void MediaFeed::StartThreads() {
  queue_ = std::make_unique<PacedQueue>(clock_);
  stop_ = std::make_unique<StopSignal>();
  at_end_.store(false, std::memory_order_relaxed);
  live_clock_ = LiveClock();
  loop_offset_us_ = media_end_us_ = 0;
  video_read_us_ = audio_read_us_ = 0;
  audio_placed_ = false;
  skips_to_key_frame_ = false;
  if (outlet_.audio != nullptr) outlet_.audio->Clear();
  std::promise<void> end;
  reader_end_ = end.get_future();
  reader_ = std::thread([this, end = std::move(end)]() mutable {
    ReadLoop();
    end.set_value();
  });
  if (outlet_.video != nullptr) sender_ = std::thread([this] { SendLoop(); });
}

void MediaFeed::Stop() {
  stop_->Raise();
  source_.Interrupt();
  queue_->Close();
  if (sender_.joinable()) sender_.join();
  left_behind_ = !CollectReader(kMoment);
}

// Ends the reading thread. False: it does not end.
bool MediaFeed::CollectReader(std::chrono::milliseconds at_most) {
  if (reader_.joinable()) {
    if (reader_end_.wait_for(at_most) != std::future_status::ready) return false;
    reader_.join();
  }
  left_behind_ = false;
  source_.Close();
  open_ = false;
  return true;
}

void MediaFeed::ReadLoop() {
  std::string error;
  if (!open_ && OpenStreams(kReopenTimeoutUs, &error) != MediaProblem::kNone) {
    if (!stop_->IsRaised()) notices_->Add(error);
  } else {
    while (!stop_->IsRaised()) {
      if (!media_.live) WaitForRoom();
      if (!ReadOne()) break;
    }
  }
  sound_end_us_.store(audio_read_us_, std::memory_order_relaxed);
  at_end_.store(true, std::memory_order_release);
}

bool MediaFeed::HasEnded() const {
  if (left_behind_) return true;
  return at_end_.load(std::memory_order_acquire) && queue_->IsEmpty() &&
         clock_->NowUs() >= sound_end_us_.load(std::memory_order_relaxed);
}

// Continues to read while a stream has too little media, unless the other one is too far ahead
// because the two are far apart in the file.
void MediaFeed::WaitForRoom() {
  for (;;) {
    const int64_t now_us = clock_->NowUs();
    const bool video_short = source_.video() != nullptr && video_read_us_ < now_us + kReadAheadUs;
    const bool has_sound = source_.audio() != nullptr;
    const bool audio_short = has_sound && audio_read_us_ < now_us + kReadAheadUs;
    const bool sound_full = has_sound && audio_read_us_ > now_us + kMaxSoundAheadUs;
    if ((video_short || audio_short) && !sound_full) return;
    if (stop_->WaitUntil(clock_->At(now_us + kRoomPollUs))) return;
  }
}

bool MediaFeed::ReadOne() {
  std::string error;
  switch (source_.Read(packet_.get(), &error)) {
    case MediaSource::Kind::kVideo:
      TakeVideo();
      return true;
    case MediaSource::Kind::kAudio:
      TakeAudio();
      return true;
    case MediaSource::Kind::kFailed:
      Notice("reading ended early: " + error);
      return false;
    case MediaSource::Kind::kEnd:
      break;
  }
  if (stop_->IsRaised()) return false;
  if (media_.loop) return StartOver();
  if (media_.live) Notice("the stream has ended");
  return false;
}

bool MediaFeed::StartOver() {
  if (media_end_us_ <= loop_offset_us_) {
    Notice("cannot loop because it contains no media");
    return false;
  }
  loop_offset_us_ = media_end_us_;
  std::string error;
  if (OpenStreams(kReopenTimeoutUs, &error) == MediaProblem::kNone) return true;
  if (!stop_->IsRaised()) notices_->Add(error);
  return false;
}

int64_t MediaFeed::DueAt(int64_t media_us) {
  return media_.live ? live_clock_.DueAt(media_us, clock_->NowUs())
                     : file_clock_.DueAt(media_us + loop_offset_us_);
}

void MediaFeed::TakeVideo() {
  const int64_t media_us = packet_->dts;
  media_end_us_ = std::max(media_end_us_, loop_offset_us_ + media_us + packet_->duration);
  video_read_us_ = DueAt(media_us);
  packet_->pts = packet_->dts = video_read_us_;
  frames_.clear();
  if (!normalizer_.Process(packet_.get(), &frames_) && !damage_noticed_) {
    damage_noticed_ = true;
    Notice("contains damaged video, which is left out");
  }
  if (source_.reorders_pictures() && !reorder_noticed_) {
    reorder_noticed_ = true;
    Notice("has B pictures, which a conference does not send; their times are not exact");
  }
  for (VideoFrame& frame : frames_) {
    if (skips_to_key_frame_ && !frame.key_frame) continue;
    skips_to_key_frame_ = !Enqueue(&frame);
  }
}

// A file waits for room. A live stream cannot wait, so the picture is lost.
bool MediaFeed::Enqueue(VideoFrame* frame) {
  while (!queue_->Push(frame)) {
    if (!overflow_noticed_) Notice("the video buffer is full");
    overflow_noticed_ = true;
    if (media_.live || stop_->WaitUntil(clock_->At(clock_->NowUs() + kRoomPollUs))) return false;
  }
  return true;
}

void MediaFeed::TakeAudio() {
  const bool decoded =
      decoder_.Decode(*packet_, [this](int64_t time_us, const float* interleaved, size_t samples) {
        const int64_t length_us = TimeOfSample(static_cast<int64_t>(samples));
        media_end_us_ = std::max(media_end_us_, loop_offset_us_ + time_us + length_us);
        const int64_t due_us = DueAt(time_us);
        audio_read_us_ = due_us + length_us;
        PlaceAudio(due_us, interleaved, samples);
      });
  if (!decoded && !damage_noticed_) {
    damage_noticed_ = true;
    Notice("contains damaged sound, which is left out");
  }
}

void MediaFeed::PlaceAudio(int64_t due_us, const float* interleaved, size_t samples) {
  const int64_t place = SampleAt(due_us);
  const int64_t off = place - next_sample_;
  if (!audio_placed_ || off > kSoundToleranceSamples || off < -kSoundToleranceSamples) {
    next_sample_ = place;
    audio_placed_ = true;
  }
  outlet_.audio->Write(next_sample_, interleaved, samples);
  next_sample_ += static_cast<int64_t>(samples);
}

void MediaFeed::SendLoop() {
  AskForPunctualThread();
  bool needs_key_frame = true;
  int skipped = 0;
  VideoFrame frame;
  while (queue_->PopWhenDue(&frame)) {
    if (!sending_.load(std::memory_order_relaxed)) {
      needs_key_frame = true;
      skipped = 0;
      continue;
    }
    if (needs_key_frame && !frame.key_frame) {
      if (++skipped == kManyFrames) Notice("cannot be recorded because no key frame comes");
      continue;
    }
    needs_key_frame = false;
    Send(frame);
  }
}

void MediaFeed::Send(const VideoFrame& frame) {
  if (outlet_.tap != nullptr) {
    outlet_.tap->OnVideoSent(outlet_.ssrc, frame.key_frame, frame.data.data(), frame.data.size());
  }
  kxrtc::EncodedImage image;
  image.encoded_width = frame.width;
  image.encoded_height = frame.height;
  image.frame_type = frame.key_frame ? kxrtc::kVideoFrameTypeKey : 0;
  image.data = frame.data.data();
  image.length = static_cast<uint32_t>(frame.data.size());
  image.rotation = frame.rotation;
  (void)outlet_.video->OnEncodedFrame(&image, outlet_.ssrc);  // Refused only at the end.
}

}  // namespace kxrtc_host
