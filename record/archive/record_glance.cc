#include "record/archive/record_glance.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "kx_utility/byte_buffer.h"
#include "kx_utility/file.h"
#include "kx_utility/text_file.h"
#include "kxrtc/recording/speaker_record_descriptor.h"
#include "kxrtc/recording/speaker_record_format.h"
#include "record/speakers/timeline_format.h"

namespace kxrtc_host {
namespace {

constexpr uint64_t kTailBytes = 4096;
constexpr uint64_t kMaxDescriptorBytes = 64 * 1024;  // Some 250 sessions.
constexpr uint32_t kRecordSizes[] = {kxrtc::kSpeakerRecordHeaderSize + kxrtc::kMediaDataRecordSize,
                                     kxrtc::kSpeakerRecordHeaderSize + kxrtc::kNewChannelRecordSize,
                                     kxrtc::kSpeakerRecordHeaderSize};
static_assert(kxrtc::kMediaDataRecordSize == kxrtc::kNewVideoAttributesRecordSize,
              "the largest records have one size");

std::string FileName(const char* extension) { return kxrtc::SpeakerRecordFilePath("", extension); }

std::optional<uint64_t> SizeOf(int folder, const std::string& name) {
  struct stat status {};
  if (::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return std::nullopt;
  if (!S_ISREG(status.st_mode)) return std::nullopt;
  return static_cast<uint64_t>(status.st_size);
}

kx_utility::File OpenFile(int folder, const std::string& name) {
  return kx_utility::File(
      ::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
}

// `size` bytes of a file from `position` on; none when it has fewer, or cannot be read.
std::optional<std::string> Bytes(kx_utility::File* file, uint64_t position, uint64_t size) {
  std::string bytes(size, '\0');
  if (file->ReadAt(reinterpret_cast<uint8_t*>(bytes.data()), size, position) != size) {
    return std::nullopt;
  }
  return bytes;
}

// A record of the index whose bytes end at a known place.
struct LastRecord {
  kxrtc::SpeakerRecordHeader header;
  kxrtc::MediaDataRecord data;
  uint32_t size = 0;
};

bool ReadRecordBefore(const std::string& bytes, size_t end, LastRecord* record) {
  for (const uint32_t size : kRecordSizes) {
    if (size > end) continue;
    kx_utility::ByteBufferReader reader(bytes.data() + end - size, size);
    uint32_t payload = 0;
    if (!kxrtc::ReadRecord(&reader, &record->header) ||
        !kxrtc::GetRecordPayloadSize(record->header.type, &payload) ||
        kxrtc::kSpeakerRecordHeaderSize + payload != size) {
      continue;
    }
    record->size = size;
    record->data = {};
    const bool is_media =
        record->header.type == kxrtc::kVideoData || record->header.type == kxrtc::kAudioData;
    return !is_media || kxrtc::ReadRecord(&reader, &record->data);
  }
  return false;
}

// The last records of an index, the last one first.
struct IndexEnd {
  std::vector<LastRecord> records;
  bool is_cut = false;  // Part of a record follows.
};

// Up to kMaxRecord - 1 bytes behind the last whole record are a record that was cut.
IndexEnd ReadEnd(const std::string& tail) {
  constexpr size_t kLargest = kRecordSizes[0];
  constexpr size_t kEnough = 4;  // Records in a row are no accident.
  for (size_t cut = 0; cut < std::min(kLargest, tail.size()); ++cut) {
    IndexEnd end;
    end.is_cut = cut > 0;
    size_t at = tail.size() - cut;
    LastRecord record;
    while (at > 0 && ReadRecordBefore(tail, at, &record)) {
      end.records.push_back(record);
      at -= record.size;
    }
    if (end.records.size() >= kEnough || (at == 0 && !end.records.empty())) return end;
  }
  return {};
}

bool IsOutside(const kxrtc::MediaDataRecord& data, uint64_t size) {
  return data.size > size || data.start_position > size - data.size;
}

// Whether the last frame of `type` lies outside of a data file of `size` bytes.
bool LosesFrame(const IndexEnd& end, uint32_t type, uint64_t size) {
  const auto last = std::find_if(end.records.begin(), end.records.end(),
                                 [=](const LastRecord& one) { return one.header.type == type; });
  return last != end.records.end() && IsOutside(last->data, size);
}

std::optional<int64_t> Difference(int64_t first, int64_t last) {
  int64_t length = 0;
  if (__builtin_sub_overflow(last, first, &length) || length < 0) return std::nullopt;
  return length;
}

// The sum of the sessions, where the descriptor tells it.
std::optional<int64_t> DescribedLength(int folder, const GlancedSizes& sizes) {
  if (!sizes.descriptor || *sizes.descriptor > kMaxDescriptorBytes) return std::nullopt;
  kx_utility::File file = OpenFile(folder, FileName(kxrtc::kDescriptorFileExtension));
  std::string text;
  kxrtc::SpeakerRecordDescReader reader;
  kxrtc::SpeakerRecordOverall overall;
  if (!kx_utility::ReadText(&file, *sizes.descriptor, &text) ||
      !reader.InitializeFromText(std::move(text)) || !reader.GetSpeakerRecordOverall(&overall) ||
      overall.record_session_count == 0) {
    return std::nullopt;
  }
  int64_t sum = 0;
  for (uint32_t i = 0; i < overall.record_session_count; ++i) {
    kxrtc::SpeakerRecordSession session;
    if (!reader.GetSpeakerRecordSession(i, &session)) return std::nullopt;
    const std::optional<int64_t> length =
        Difference(session.sessoin_start_timestamp_us, session.sessoin_end_timestamp_us);
    if (!length || __builtin_add_overflow(sum, *length, &sum)) return std::nullopt;
  }
  return sum;
}

std::string MissingFile(const GlancedSizes& sizes) {
  if (!sizes.index) return FileName(kxrtc::kIndexFileExtension);
  if (!sizes.video) return FileName(kxrtc::kVideoFileExtension);
  if (!sizes.audio) return FileName(kxrtc::kAudioFileExtension);
  if (!sizes.descriptor) return FileName(kxrtc::kDescriptorFileExtension);
  return "";
}

// Fills in what the index tells. The result is why it is damaged, or empty.
std::string GlanceAtIndex(int folder, RecordGlance* glance) {
  const uint64_t size = *glance->sizes.index;
  const std::string name = FileName(kxrtc::kIndexFileExtension);
  kx_utility::File file = OpenFile(folder, name);
  if (!file.IsOpen()) return name + ": " + std::strerror(errno);
  const uint64_t tail_bytes = std::min(size, kTailBytes);
  const auto head = Bytes(&file, 0, std::min<uint64_t>(size, kxrtc::kSpeakerRecordHeaderSize));
  const auto tail = Bytes(&file, size - tail_bytes, tail_bytes);
  if (!head || !tail) return name + " cannot be read";
  kx_utility::ByteBufferReader reader(head->data(), static_cast<uint32_t>(head->size()));
  kxrtc::SpeakerRecordHeader first;
  if (!kxrtc::ReadRecord(&reader, &first) || first.type != kxrtc::kStartRecording) {
    return name + " does not begin with a start record";
  }
  const IndexEnd end = ReadEnd(*tail);
  if (end.records.empty()) return name + " does not end with index records";
  const LastRecord& last = end.records.front();
  const bool is_stopped = !end.is_cut && last.header.type == kxrtc::kStopRecording;
  glance->state = is_stopped ? RecordState::kComplete : RecordState::kTorn;
  if (glance->length_us == 0) {
    glance->length_us =
        Difference(first.record_timestamp_us, last.header.record_timestamp_us).value_or(0);
  }
  if (LosesFrame(end, kxrtc::kVideoData, glance->sizes.video.value_or(UINT64_MAX))) {
    return "the last video frame is not in " + FileName(kxrtc::kVideoFileExtension);
  }
  if (LosesFrame(end, kxrtc::kAudioData, glance->sizes.audio.value_or(UINT64_MAX))) {
    return "the last audio frame is not in " + FileName(kxrtc::kAudioFileExtension);
  }
  return "";
}

}  // namespace

const char* RecordStateName(RecordState state) {
  switch (state) {
    case RecordState::kComplete:
      return "complete";
    case RecordState::kTorn:
      return "torn";
    case RecordState::kDamaged:
      return "damaged";
    case RecordState::kEmpty:
      return "empty";
  }
  return "";
}

uint64_t GlancedSizes::Sum() const {
  uint64_t sum = 0;
  for (const auto& size : {index, video, audio, descriptor, timeline}) sum += size.value_or(0);
  return sum;
}

RecordGlance GlanceAtRecord(int folder) {
  RecordGlance glance;
  GlancedSizes& sizes = glance.sizes;
  sizes.index = SizeOf(folder, FileName(kxrtc::kIndexFileExtension));
  sizes.video = SizeOf(folder, FileName(kxrtc::kVideoFileExtension));
  sizes.audio = SizeOf(folder, FileName(kxrtc::kAudioFileExtension));
  sizes.descriptor = SizeOf(folder, FileName(kxrtc::kDescriptorFileExtension));
  sizes.timeline = SizeOf(folder, kSpeakerTimelineFileName);
  glance.length_us = DescribedLength(folder, sizes).value_or(0);
  const std::string missing = MissingFile(sizes);
  const bool is_without_media = missing.empty() && *sizes.video == 0 && *sizes.audio == 0;
  if (is_without_media && *sizes.index == 0) {
    glance.state = RecordState::kEmpty;
    return glance;
  }
  if (sizes.index) glance.problem = GlanceAtIndex(folder, &glance);
  if (!missing.empty()) glance.problem = missing + " is missing or not a regular file";
  if (!glance.problem.empty()) {
    glance.state = RecordState::kDamaged;
  } else if (is_without_media) {
    glance.state = RecordState::kEmpty;
  }
  return glance;
}

}  // namespace kxrtc_host
