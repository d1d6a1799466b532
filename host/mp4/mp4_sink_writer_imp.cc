#include "host/mp4/mp4_sink_writer_imp.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "host/ffmpeg/ffmpeg_encoder.h"
#include "host/mp4/copy_video_track.h"
#include "host/mp4/encode_video_track.h"
#include "host/mp4/no_video_track.h"
#include "host/result/mp4_mark.h"
#include "kx_utility/failure_log.h"
#include "record/index/frame_limit.h"
#include "record/index/record_text.h"
#include "record/parts/part_rounding.h"
#include "record/predict/chosen_video.h"
#include "record/timing/media_time.h"
#include "record/timing/time_text.h"

namespace kxrtc_host {
namespace {

using kx_utility::Here;
using kx_utility::LogFormatted;

constexpr uint32_t kMaxFrameRate = 1000;
constexpr uint32_t kMaxPictureSize = 16384;
constexpr uint32_t kMaxBitRateKbps = 1000000;

// Of a chapter, less is not left beside a cut: who cuts it does not see where it ends so exactly.
constexpr int64_t kShortestRestUs = 100000;

// An empty frame may have a null address. For the decoder that would mean the end of the stream.
constexpr uint8_t kNoBytes[1] = {0};

}  // namespace

Mp4SinkWriterImp::Mp4SinkWriterImp(const Mp4SinkWriterOptions& options) : options_(options) {}

Mp4SinkWriterImp::~Mp4SinkWriterImp() {
  // Without a stop, nobody wants the file.
  Discard();
  StopStreaming();
}

// Reports the failure that ended the run, once; a requested stop is none. Returns `ok`.
bool Mp4SinkWriterImp::Settle(bool ok) {
  if (!ok && !error_reported_ && observer_ != nullptr && !IsDiscarded()) {
    error_reported_ = true;
    observer_->OnError(kxrtc::kMp4SinkWriterFatalError);
  }
  return ok;
}

bool Mp4SinkWriterImp::CheckConfigs(const kxrtc::VideoConfig* video,
                                    const kxrtc::AudioConfig* audio) {
  if (video == nullptr || audio == nullptr || video->format != kxrtc::kVideoFormatCode ||
      audio->format != kxrtc::kAudioFormatCode) {
    return report_.Fail(WriterFailure::kRefused, "the video or audio format code is unknown");
  }
  if (video->width < 2 || video->width > kMaxPictureSize || video->height < 2 ||
      video->height > kMaxPictureSize || (video->width | video->height) % 2 != 0 ||
      video->frame_rate == 0 || video->frame_rate > kMaxFrameRate || video->bit_rate_kbps == 0 ||
      video->bit_rate_kbps > kMaxBitRateKbps) {
    return report_.Fail(WriterFailure::kRefused,
                        "the picture size, frame rate or bit rate is out of range");
  }
  return true;
}

// Without memory, or without a thread for a track, a run ends like one whose disk is full.
template <typename Body>
bool Mp4SinkWriterImp::Guard(WriterFailure failure, Body body) {
  try {
    return body();
  } catch (const std::exception& error) {
    return report_.Fail(
        failure, std::string("the system has no memory or no thread to give: ") + error.what());
  }
}

bool Mp4SinkWriterImp::StartStreaming(const char* output_path, const kxrtc::VideoConfig* video,
                                      const kxrtc::AudioConfig* audio,
                                      kxrtc::Mp4SinkWriterObserver* observer) {
  if (started_) return report_.Fail(WriterFailure::kRefused, "the writer is already started");
  observer_ = observer;
  started_ = Guard(WriterFailure::kRefused, [&] {
    return CheckConfigs(video, audio) && OpenFile(output_path) && MakeTracks(*video, *audio);
  });
  return started_;
}

bool Mp4SinkWriterImp::OpenFile(const char* output_path) {
  file_.set_is_wanted([this] { return !IsDiscarded(); });
  if (!file_.Open(output_path == nullptr ? "" : output_path, options_.replace_existing)) {
    return report_.Fail(WriterFailure::kRefused, file_.error_text());
  }
  // The size of the encoder's output is not known well enough.
  if (options_.video_mode == VideoMode::kCopy && options_.parts.IsWhole()) {
    file_.Reserve(options_.bounds.bytes);
  }
  return true;
}

bool Mp4SinkWriterImp::MakeTracks(const kxrtc::VideoConfig& video,
                                  const kxrtc::AudioConfig& audio) {
  // Nobody knows how much of the samples is in the parts.
  const SampleBounds bounds = options_.parts.IsWhole() ? options_.bounds : SampleBounds();
  muxer_ = std::make_unique<Mp4Muxer>(&file_, &report_, bounds, options_.tags);
  audio_track_ = std::make_unique<AudioTrack>(
      audio.channel_count, options_.check_sound || options_.video_mode == VideoMode::kEncode,
      &parts_, muxer_.get(), &report_);
  return MakeVideoTrack(video);
}

void Mp4SinkWriterImp::SetParts(const PartRequest& parts) {
  report_.status.parts = parts;
  parts_ = KeptParts(parts);
}

std::unique_ptr<H264Encoder> Mp4SinkWriterImp::OpenEncoder(const EncoderSettings& settings,
                                                           std::vector<std::string>* obstacles) {
  const EncoderOpener& opener =
      options_.encoder_opener != nullptr ? *options_.encoder_opener : FFmpegEncoders();
  std::unique_ptr<H264Encoder> encoder;
  if (prefer_hardware_) {
    encoder = OpenFirstEncoder(opener, options_.hardware_encoders, settings, obstacles);
    if (encoder != nullptr) return encoder;
  }
  encoder = OpenFirstEncoder(opener, options_.software_encoders, settings, obstacles);
  for (const std::string& obstacle : *obstacles) {
    LogFormatted(kx_utility::LS_INFO, Here(), "falling back: %s", obstacle.c_str());
  }
  return encoder;
}

bool Mp4SinkWriterImp::MakeVideoTrack(const kxrtc::VideoConfig& video) {
  const bool expects_audio = options_.bounds.audio_frames > 0;
  timeline_ = std::make_unique<FileTimeline>(VideoClock::kLongestGapUs, expects_audio);
  SetParts(AtWholeAudioFrames(options_.parts));
  if (options_.video_mode == VideoMode::kNone) {
    report_.status.is_sound_only = true;
    muxer_->ExpectNoVideo();
    video_track_ = std::make_unique<IconFilter>(std::make_unique<NoVideoTrack>(),
                                                ClipPictures::kFirst, nullptr);
    return true;
  }
  if (options_.video_mode == VideoMode::kEncode) {
    const kxrtc::VideoSettings chosen = ChosenVideo(
        {video.width, video.height, video.frame_rate, video.bit_rate_kbps}, options_.picture);
    const bool is_choice = options_.picture.width != 0 || options_.picture.frame_rate != 0;
    if (const std::string obstacle = VideoObstacle(chosen); is_choice && !obstacle.empty()) {
      return report_.Fail(WriterFailure::kRefused, obstacle);
    }
    EncoderSettings settings;
    settings.width = chosen.width;
    settings.height = chosen.height;
    settings.frame_rate = chosen.frame_rate;
    settings.bit_rate_kbps = chosen.bit_rate_kbps;
    settings.quality = options_.picture.quality;
    settings.preset = options_.preset;
    settings.threads = options_.encoder_threads;
    std::vector<std::string> obstacles;
    if (auto encoder = OpenEncoder(settings, &obstacles)) {
      SetParts(AtTicks(options_.parts, settings.frame_rate));
      auto track = std::make_unique<EncodeVideoTrack>(
          std::move(encoder), settings, [this] { return !IsDiscarded(); }, &parts_, muxer_.get(),
          &report_);
      EncodeVideoTrack* const encode_track = track.get();
      video_track_ =
          std::make_unique<IconFilter>(std::move(track), ClipPictures::kAll, FollowShares());
      return encode_track->Initialize();
    }
    if (!options_.copies_without_encoder) {
      return report_.Fail(WriterFailure::kEncoder, obstacles.back());
    }
    report_.Warn("no H.264 encoder of FFmpeg works here, so the video is copied");
  }
  video_track_ = std::make_unique<IconFilter>(
      std::make_unique<CopyVideoTrack>(video.width, video.height, &parts_, muxer_.get(), &report_),
      ClipPictures::kFirst, nullptr);
  return true;
}

std::unique_ptr<ChannelFollower> Mp4SinkWriterImp::FollowShares() const {
  const bool keeps_picture =
      options_.still_share == StillShare::kPicture && !options_.record_folder.empty();
  return keeps_picture ? std::make_unique<ChannelFollower>(options_.record_folder) : nullptr;
}

bool Mp4SinkWriterImp::SetNewInputVideoAttributes(uint32_t /*width*/, uint32_t /*height*/,
                                                  int32_t rotation_angle) {
  if (!started_ || report_.failed()) return false;
  video_track_->SetAttributes(rotation_angle);
  return true;
}

bool Mp4SinkWriterImp::Accepts(WriterFailure kind, int64_t timestamp_us, const uint8_t* data,
                               uint32_t size) {
  if (!started_ || report_.failed() || (data == nullptr && size != 0)) return false;
  if (IsDiscarded()) return report_.Fail(WriterFailure::kDiscarded, kStoppedText);
  if (size <= kMaxFrameBytes) return true;
  return Settle(report_.Fail(
      kind, std::string(kind == WriterFailure::kVideo ? "a picture" : "an audio frame") + " of " +
                CountText(size, "byte") + " at " + ClockText(timestamp_us, 3) +
                " is too large; no encoder makes more than 64 MiB"));
}

bool Mp4SinkWriterImp::PushVideoSample(int64_t timestamp_us, const uint8_t* data, uint32_t size) {
  if (!Accepts(WriterFailure::kVideo, timestamp_us, data, size)) return false;
  report_.status.video_samples_received =
      video_samples_.fetch_add(1, std::memory_order_relaxed) + 1;
  const uint8_t* const bytes = data == nullptr ? kNoBytes : data;
  return Settle(Guard(WriterFailure::kOutput, [&] {
    return video_track_->Push(timeline_->PlaceVideo(timestamp_us), bytes, size);
  }));
}

bool Mp4SinkWriterImp::PushAudioSample(int64_t timestamp_us, const uint8_t* data, uint32_t size) {
  if (!Accepts(WriterFailure::kAudio, timestamp_us, data, size)) return false;
  const int64_t placed_us = timeline_->PlaceAudio(timestamp_us);
  const int64_t file_us = ExactMicroseconds(placed_us);
  video_track_->OnAudio();
  media_time_us_.store(file_us, std::memory_order_relaxed);
  return Settle(Guard(WriterFailure::kOutput, [&] {
    return audio_track_->Push(placed_us, data, size) && video_track_->AdvanceTo(file_us);
  }));
}

void Mp4SinkWriterImp::TellVideoClock() {
  const VideoClockChanges& changes = timeline_->video_changes();
  if (changes.steps != 0) {
    report_.Warn("the recorder's clock was set forward by " + ClockText(changes.first_step_us, 3) +
                 " at " + ClockText(changes.first_step_at_us, 3) +
                 (changes.steps > 1 ? " and " + CountText(changes.steps - 1, "more time") : "") +
                 ": " + CountText(changes.moved_samples, "video sample") +
                 ByCount(changes.moved_samples, " follows", " follow") + " the audio instead");
  }
  if (changes.shortened_by_us != 0) {
    report_.Warn("the video pauses for longer than the file can represent; " +
                 ClockText(changes.shortened_by_us, 3) + " of it are left out");
  }
}

void Mp4SinkWriterImp::TellTimestamps() {
  if (report_.status.timestamps_raised != 0) {
    const uint64_t raised = report_.status.timestamps_raised;
    report_.Warn(CountText(raised, "timestamp") + ByCount(raised, " is", " are") +
                 " not later than the previous one; " + ByCount(raised, "it was", "they were") +
                 " increased");
  }
}

void Mp4SinkWriterImp::TellMissing() {
  const bool is_whole = parts_.is_whole();
  const std::string lacks = is_whole ? "the record contains no " : "the part contains no ";
  if (options_.video_mode != VideoMode::kNone && video_track_->end_us() == 0) {
    report_.Warn(lacks + "video that can be shown");
  }
  const bool has_audio =
      is_whole ? report_.status.audio_frames_received != 0 : audio_track_->end_us() != 0;
  if (!has_audio) report_.Warn(lacks + "audio");
}

bool Mp4SinkWriterImp::FinishTracks() {
  if (!audio_track_->Flush() || !video_track_->Finish(audio_track_->whole_end_us())) return false;
  report_.status.duration_us = std::max(audio_track_->end_us(), video_track_->end_us());
  report_.status.start_us = timeline_->start_us();
  if (!parts_.is_whole() && report_.status.duration_us == 0) {
    return report_.Fail(WriterFailure::kNoPart,
                        "the part that was asked for contains nothing of the record");
  }
  TellMissing();
  audio_track_->Finish();
  if (video_track_->end_us() != 0) TellVideoClock();
  TellTimestamps();
  return options_.tags.chapters.empty() || SetChapters();
}

bool Mp4SinkWriterImp::SetChapters() {
  const int64_t shortest_us = parts_.is_whole() ? 0 : kShortestRestUs;
  std::vector<Chapter> chapters;
  for (const Chapter& chapter : options_.tags.chapters) {
    const int64_t whole_us = FileTimeOf(chapter.start_us, report_.status.start_us);
    int64_t start_us = parts_.FileTime(whole_us);
    if (whole_us >= parts_.end_us() || start_us >= report_.status.duration_us) break;
    // Of those before the start of a part, the last one goes on in it.
    if (!chapters.empty() && start_us - chapters.back().start_us <= shortest_us) {
      start_us = chapters.back().start_us;
      chapters.pop_back();
    }
    chapters.push_back({start_us, chapter.title});
  }
  return muxer_->SetChapters(chapters, report_.status.duration_us);
}

bool Mp4SinkWriterImp::Finish() {
  if (IsDiscarded()) return report_.Fail(WriterFailure::kDiscarded, kStoppedText);
  if (report_.failed()) return false;
  const Mp4WriterStatus& status = report_.status;
  const bool is_empty = status.video_samples_received == 0 && status.audio_frames_received == 0;
  // For an empty record no other warning makes sense.
  if (!is_empty && !FinishTracks()) return false;
  if (!muxer_->Finish()) return false;
  if (!AppendMark()) return report_.FailFile(file_);
  if (!file_.Commit(options_.sync)) return report_.FailFile(file_);
  if (!file_.warning_text().empty()) report_.Warn(file_.warning_text());
  report_.status.file_size = file_.size();
  report_.status.file_written = true;
  return true;
}

bool Mp4SinkWriterImp::AppendMark() {
  if (options_.origin.empty()) return true;
  std::string mark;
  const Mp4Reader reader = [this](uint64_t position, void* buffer, uint64_t size) {
    return file_.ReadAt(position, buffer, size);
  };
  return MakeMp4Mark(reader, file_.size(), options_.origin, &mark) &&
         file_.WriteAt(file_.size(), mark.data(), mark.size());
}

void Mp4SinkWriterImp::StopStreaming() {
  if (started_) {
    started_ = false;
    const bool finished = Guard(WriterFailure::kOutput, [this] { return Finish(); });
    (void)Settle(finished);
  }
  video_track_.reset();
  audio_track_.reset();
  muxer_.reset();
  file_.Discard();
  observer_ = nullptr;
}

bool Mp4SinkWriterImp::SetTRVVlogPath(const char* /*log_path*/) { return true; }

bool Mp4SinkWriterImp::SetD3dManger(void* /*d3d11m*/, void* /*d3d9m*/) { return true; }

bool Mp4SinkWriterImp::SetPreferHW(bool preferHW) {
  prefer_hardware_ = preferHW;
  return true;
}

bool Mp4SinkWriterImp::SetDx9Caps(int /*caps*/) { return false; }

bool Mp4SinkWriterImp::GetDx9Caps(int* /*caps*/) { return false; }

bool Mp4SinkWriterImp::GetDx9CapsType(int* /*type*/) { return false; }

}  // namespace kxrtc_host
