#include "host/mp4/mp4_muxer.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/dict.h>
#include <libavutil/display.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "host/mp4/tag_writer.h"
#include "host/result/mp4_box.h"
#include "record/index/record_text.h"
#include "record/timing/media_time.h"

namespace kxrtc_host {
namespace {

// Bytes of the index, upper bounds. Per sample: its size, duration, composition offset and place
// among the key frames. Per chunk: its position and its entry in the sample-to-chunk table.
constexpr uint64_t kIndexFixedBytes = 4096;
constexpr uint64_t kIndexVideoSampleBytes = 4 + 8 + 8 + 4;
constexpr uint64_t kIndexAudioFrameBytes = 4;
constexpr uint64_t kIndexChunkBytes = 8 + 12;
// libavformat starts a new chunk after about this much, for any tracks.
constexpr uint64_t kChunkBytes = 512 * 1024;
constexpr uint64_t kFreeBoxBytes = 8;
// Reserving more has no effect: libavformat stores the size in 32 bits.
constexpr uint64_t kMaxReserve = std::numeric_limits<int32_t>::max();

// Space for the index is reserved only if the samples are at least this many times larger, because
// unused space stays in the file.
constexpr uint64_t kMinSamplesToIndex = 64;

// The sample entry of a track has 16 bits for each.
constexpr uint32_t kMaxPictureSize = std::numeric_limits<uint16_t>::max();

}  // namespace

Mp4Muxer::Mp4Muxer(OutputFile* file, WriterReport* report, const SampleBounds& bounds, Mp4Tags tags)
    : file_(file),
      report_(report),
      bounds_(bounds),
      tags_(std::move(tags)),
      output_(file),
      packet_(av_packet_alloc()) {}

Mp4Muxer::~Mp4Muxer() = default;

uint64_t Mp4Muxer::IndexBytes(uint64_t video_samples, uint64_t audio_frames,
                              uint64_t chunks) const {
  return kIndexFixedBytes + video_samples * kIndexVideoSampleBytes +
         audio_frames * kIndexAudioFrameBytes + chunks * kIndexChunkBytes + TagBytes(tags_) +
         kFreeBoxBytes;
}

// For the index; 0: it is better to move the samples at the end.
uint64_t Mp4Muxer::BytesToReserve() const {
  if (bounds_.video_samples == 0 && bounds_.audio_frames == 0) return 0;
  // Two tracks alternate at most once per sample of the shorter one, and once more.
  const uint64_t runs = 2 * (std::min(bounds_.video_samples, bounds_.audio_frames) + 1);
  const uint64_t bytes =
      IndexBytes(bounds_.video_samples, bounds_.audio_frames, runs + bounds_.bytes / kChunkBytes);
  return bytes <= std::min(kMaxReserve, bounds_.bytes / kMinSamplesToIndex) ? bytes : 0;
}

bool Mp4Muxer::Check(const char* step, int result) {
  // libavformat buffers: a failed write may appear in a later step, or only in the stream.
  if (result >= 0 && (io_ == nullptr || io_->error >= 0)) return true;
  if (!file_->error_text().empty()) return report_->FailFile(*file_);
  return report_->Fail(WriterFailure::kOutput, std::string("cannot write the MP4 file (") + step +
                                                   "): " + FFmpegErrorText(result));
}

void Mp4Muxer::DescribeVideo(const VideoTrackInfo& info) {
  video_ = info;
  described_[kVideo] = true;
}

void Mp4Muxer::DescribeAudio(const AudioTrackInfo& info) {
  audio_ = info;
  described_[kAudio] = true;
}

void Mp4Muxer::AddVideoStream() {
  AVStream* stream = avformat_new_stream(format_.get(), nullptr);
  if (stream == nullptr || !CopyExtradata(video_.decoder_configuration, stream->codecpar)) return;
  stream->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
  stream->codecpar->codec_id = AV_CODEC_ID_H264;
  stream->codecpar->width = static_cast<int>(video_.width);
  stream->codecpar->height = static_cast<int>(video_.height);
  stream->time_base = {1, static_cast<int>(video_.ticks_per_second)};
  if (video_.frame_rate != 0) stream->avg_frame_rate = {static_cast<int>(video_.frame_rate), 1};
  streams_[kVideo] = stream;
}

void Mp4Muxer::AddAudioStream() {
  AVStream* stream = avformat_new_stream(format_.get(), nullptr);
  if (stream == nullptr || !CopyExtradata(audio_.audio_specific_config, stream->codecpar)) return;
  stream->codecpar->codec_type = AVMEDIA_TYPE_AUDIO;
  stream->codecpar->codec_id = AV_CODEC_ID_AAC;
  stream->codecpar->sample_rate = kAudioSampleRate;
  stream->codecpar->frame_size = kSamplesPerAudioFrame;
  av_channel_layout_default(&stream->codecpar->ch_layout, static_cast<int>(audio_.channel_count));
  stream->time_base = {1, kAudioSampleRate};
  streams_[kAudio] = stream;
}

bool Mp4Muxer::Begin() {
  begun_ = true;
  AVFormatContext* format = nullptr;
  if (!Check("format", avformat_alloc_output_context2(&format, nullptr, "mp4", nullptr))) {
    return false;
  }
  format_.reset(format);
  io_.reset(OpenOutputFileIo(&output_, true));
  if (io_ == nullptr || packet_ == nullptr) return Check("memory", AVERROR(ENOMEM));
  format_->pb = io_.get();
  format_->flags |= AVFMT_FLAG_BITEXACT | AVFMT_FLAG_CUSTOM_IO;
  format_->flush_packets = 0;
  LetReadBack(format_.get(), &output_);
  if (described_[kVideo]) AddVideoStream();
  if (described_[kAudio]) AddAudioStream();
  for (Track track : {kVideo, kAudio}) {
    if (described_[track] && streams_[track] == nullptr) return Check("memory", AVERROR(ENOMEM));
  }
  if (!AddMetadata(tags_, format_.get())) return Check("memory", AVERROR(ENOMEM));
  if (!WriteHeader()) return false;
  io_->direct = AVIO_FLAG_DIRECT;
  return WriteWaiting();
}

bool Mp4Muxer::WriteHeader() {
  if (described_[kVideo] && std::max(video_.width, video_.height) > kMaxPictureSize) {
    return report_->Fail(WriterFailure::kVideo, "pictures of " + std::to_string(video_.width) +
                                                    "x" + std::to_string(video_.height) +
                                                    " pixels are too large for the MP4 file");
  }
  reserved_ = BytesToReserve();
  AVDictionary* options = nullptr;
  // With a coarser unit the start of a track would be rounded to a millisecond.
  av_dict_set(&options, "movie_timescale", "1000000", 0);
  if (reserved_ != 0) {
    av_dict_set_int(&options, "moov_size", static_cast<int64_t>(reserved_), 0);
  } else {
    av_dict_set(&options, "movflags", "+faststart", 0);
  }
  const int result = avformat_write_header(format_.get(), &options);
  const bool all_used = av_dict_count(options) == 0;
  av_dict_free(&options);
  if (!Check("header", result)) return false;
  if (!all_used) return Check("option", AVERROR_OPTION_NOT_FOUND);
  return true;
}

bool Mp4Muxer::Write(Track track, const Mp4Sample& sample) {
  if (report_->failed()) return false;
  if (sample.size > kMaxSampleBytes) {
    return report_->Fail(
        track == kVideo ? WriterFailure::kVideo : WriterFailure::kAudio,
        "a sample of " + CountText(sample.size, "byte") + " is too large for the MP4 file");
  }
  if (begun_ && waiting_.empty()) return WriteNow(track, sample);
  KeepWaiting(track, sample, true);
  return begun_ || !HasWaitedEnough() || Begin();
}

void Mp4Muxer::HoldVideo(const Mp4Sample& sample) { KeepWaiting(kVideo, sample, false); }

std::deque<Mp4Muxer::WaitingSample>::iterator Mp4Muxer::FirstHeld() {
  return std::find_if(waiting_.begin(), waiting_.end(),
                      [](const WaitingSample& sample) { return !sample.has_times; });
}

bool Mp4Muxer::SetTimes(const Mp4SampleTimes& times) {
  if (report_->failed()) return false;
  const auto held = FirstHeld();
  static_cast<Mp4SampleTimes&>(held->sample) = times;
  held->has_times = true;
  return GoOn();
}

bool Mp4Muxer::LeaveOut() {
  if (report_->failed()) return false;
  const auto held = FirstHeld();
  waiting_bytes_ -= WaitingBytes(*held);
  waiting_.erase(held);
  return GoOn();
}

// After one that was held is held no longer.
bool Mp4Muxer::GoOn() {
  if (!begun_) return !HasWaitedEnough() || Begin();
  return WriteWaiting();
}

bool Mp4Muxer::HasWaitedEnough() const {
  return ((described_[kVideo] || !expects_video_) && described_[kAudio]) ||
         waiting_bytes_ > kMaxWaitingBytes;
}

// Small samples also need memory for their administration.
uint64_t Mp4Muxer::WaitingBytes(const WaitingSample& waiting) {
  return waiting.bytes.size() + sizeof(waiting);
}

void Mp4Muxer::KeepWaiting(Track track, const Mp4Sample& sample, bool has_times) {
  const auto* bytes = reinterpret_cast<const char*>(sample.data);
  waiting_.push_back({track, sample, std::string(bytes, sample.size), has_times});
  waiting_bytes_ += WaitingBytes(waiting_.back());
}

bool Mp4Muxer::WriteWaiting() {
  for (; !waiting_.empty() && waiting_.front().has_times; waiting_.pop_front()) {
    WaitingSample& waiting = waiting_.front();
    waiting.sample.data = reinterpret_cast<const uint8_t*>(waiting.bytes.data());
    waiting_bytes_ -= WaitingBytes(waiting);
    if (!WriteNow(waiting.track, waiting.sample)) return false;
  }
  return true;
}

bool Mp4Muxer::WriteNow(Track track, const Mp4Sample& sample) {
  if (streams_[track] == nullptr) {
    ++left_out_[track];
    return true;
  }
  // The packet borrows the bytes: libavformat writes them before it returns.
  packet_->data = const_cast<uint8_t*>(sample.data);
  packet_->size = static_cast<int>(sample.size);
  packet_->pts = sample.presentation_time;
  packet_->dts = sample.decode_time;
  packet_->duration = sample.duration;
  packet_->flags = sample.is_key ? AV_PKT_FLAG_KEY : 0;
  packet_->stream_index = streams_[track]->index;
  // For a track of few ticks a second libavformat takes a finer unit.
  const uint32_t ticks_per_second = track == kVideo ? video_.ticks_per_second : kAudioSampleRate;
  av_packet_rescale_ts(packet_.get(), {1, static_cast<int>(ticks_per_second)},
                       streams_[track]->time_base);
  // The order of the calls is right for the file.
  if (!Check("sample", av_write_frame(format_.get(), packet_.get()))) return false;
  TrackCounts& counts = counts_[track];
  ++counts.samples;
  counts.bytes += sample.size;
  if (last_track_ != track) ++counts.runs;
  last_track_ = track;
  ++(track == kVideo ? report_->status.video_samples_written
                     : report_->status.audio_frames_written);
  return true;
}

void Mp4Muxer::SetRotation(int32_t rotation) {
  AVStream* stream = streams_[kVideo];
  if (stream == nullptr || rotation == 0) return;
  auto* matrix = reinterpret_cast<int32_t*>(
      av_stream_new_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, 9 * sizeof(int32_t)));
  if (matrix != nullptr) av_display_rotation_set(matrix, rotation);
}

void Mp4Muxer::SetSize(uint32_t width, uint32_t height) {
  video_.width = width;
  video_.height = height;
}

// libavformat keeps the size from the beginning, so it is corrected in the file.
bool Mp4Muxer::WriteSize() {
  constexpr uint64_t kSizeFromEndOfTrackHeader = 8;
  constexpr uint64_t kSampleEntryCount = 8;  // Before the sample entries, with the version.
  constexpr uint64_t kSizeInSampleEntry = 24;
  const AVCodecParameters* const described = streams_[kVideo]->codecpar;
  if (described->width == static_cast<int>(video_.width) &&
      described->height == static_cast<int>(video_.height)) {
    return true;
  }
  const uint8_t size[] = {
      static_cast<uint8_t>(video_.width >> 8),  static_cast<uint8_t>(video_.width),  0, 0,
      static_cast<uint8_t>(video_.height >> 8), static_cast<uint8_t>(video_.height), 0, 0};
  const uint8_t pixels[] = {size[0], size[1], size[4], size[5]};
  const Mp4Reader reader = [this](uint64_t position, void* buffer, uint64_t bytes) {
    return file_->ReadAt(position, buffer, bytes);
  };
  Mp4Box track = {0, file_->size()};
  bool ok = FindMp4Box(reader, "moov", &track) && FindMp4Box(reader, "trak", &track);
  Mp4Box header = track;
  ok = ok && FindMp4Box(reader, "tkhd", &header) &&
       file_->WriteAt(header.end - kSizeFromEndOfTrackHeader, size, sizeof(size));
  for (const char* type : {"mdia", "minf", "stbl", "stsd"}) {
    ok = ok && FindMp4Box(reader, type, &track);
  }
  track.begin += kSampleEntryCount;
  ok = ok && FindMp4Box(reader, "avc1", &track) &&
       file_->WriteAt(track.begin + kSizeInSampleEntry, pixels, sizeof(pixels));
  return ok || Check("size", AVERROR(EIO));
}

// The space reserved for the index may be too small. Then it becomes a box that players skip, and
// the samples are moved.
bool Mp4Muxer::MakeRoomForIndex() {
  const TrackCounts& video = counts_[kVideo];
  const TrackCounts& audio = counts_[kAudio];
  const uint64_t chunks = video.runs + audio.runs + (video.bytes + audio.bytes) / kChunkBytes + 2;
  if (reserved_ == 0 || IndexBytes(video.samples, audio.samples, chunks) <= reserved_) return true;
  avio_flush(io_.get());
  uint8_t box_size[4];
  if (!output_.Flush() || !file_->ReadAt(0, box_size, sizeof(box_size)))
    return Check("index", AVERROR(EIO));
  const uint64_t place =
      static_cast<uint64_t>(box_size[0]) << 24 | box_size[1] << 16 | box_size[2] << 8 | box_size[3];
  const uint8_t free_box[] = {static_cast<uint8_t>(reserved_ >> 24),
                              static_cast<uint8_t>(reserved_ >> 16),
                              static_cast<uint8_t>(reserved_ >> 8),
                              static_cast<uint8_t>(reserved_),
                              'f',
                              'r',
                              'e',
                              'e'};
  if (!file_->WriteAt(place, free_box, sizeof(free_box))) return Check("index", AVERROR(EIO));
  return Check("index", av_opt_set_int(format_->priv_data, "moov_size", 0, 0)) &&
         Check("index", av_opt_set(format_->priv_data, "movflags", "+faststart", 0));
}

bool Mp4Muxer::SetChapters(const std::vector<Chapter>& chapters, int64_t end_us) {
  // Without a sample there is no file.
  if (report_->failed() || (!begun_ && (waiting_.empty() || !Begin()))) return !report_->failed();
  if (!AddChapters(chapters, end_us, format_.get())) return Check("memory", AVERROR(ENOMEM));
  report_->status.chapters_written = chapters.size();
  return true;
}

bool Mp4Muxer::Finish() {
  if (report_->failed()) return false;
  if (!begun_ && waiting_.empty()) {
    return report_->Fail(WriterFailure::kNothing, "there is nothing to write: no video, no audio");
  }
  if (!begun_ && !Begin()) return false;
  if (left_out_[kVideo] != 0) {
    report_->Warn("the video starts too long after the audio; the MP4 does not contain it");
  }
  if (left_out_[kAudio] != 0) {
    report_->Warn("the audio starts too long after the video; the MP4 does not contain it");
  }
  // The index consists of small parts, which need a buffer.
  io_->direct = 0;
  if (!MakeRoomForIndex()) return false;
  if (!Check("index", av_write_trailer(format_.get()))) return false;
  avio_flush(io_.get());
  return Check("end", output_.Flush() ? 0 : AVERROR(EIO)) &&
         (counts_[kVideo].samples == 0 || WriteSize());
}

}  // namespace kxrtc_host
