#include "record/repair/file_roles.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "kxrtc/media/video/h264/nal_unit.h"
#include "record/index/index_walker.h"
#include "record/index/record_text.h"
#include "record/repair/adts_scanner.h"

namespace kxrtc_host {
namespace {

namespace H264 = kxrtc::H264;
using Step = IndexWalker::Step;

constexpr size_t kSampleSize = 256 * 1024;  // Of a file, at three places.
constexpr uint64_t kSamples = 3;

const char* const kNames[] = {"the index", "the pictures", "the sound", "the descriptor"};

std::vector<uint8_t> SampleOf(const ReadOnlyFile& file, uint64_t number) {
  std::vector<uint8_t> bytes(kSampleSize);
  bytes.resize(file.Read(file.size() / kSamples * number, bytes.data(), bytes.size()));
  return bytes;
}

bool IsDescriptor(const ReadOnlyFile& file) {
  const std::vector<uint8_t> bytes = SampleOf(file, 0);
  const std::string text(bytes.begin(), bytes.end());
  const size_t first = text.find_first_not_of(" \t\r\n");
  return first != std::string::npos && text[first] == '{' &&
         text.find("\"speaker_record_") != std::string::npos;
}

// A few records in a row, or a file that has little else.
bool IsIndex(ReadOnlyFile* file, const std::function<bool()>& is_wanted) {
  constexpr int kRecordsInARow = 8;
  IndexWalker walker(file, is_wanted);
  IndexRecord record;
  uint64_t record_bytes = 0;
  for (int in_a_row = 0; in_a_row < kRecordsInARow;) {
    const Step step = walker.Next(&record);
    if (step == Step::kRecord) {
      record_bytes += record.size;
      ++in_a_row;
    } else if (step == Step::kGarbage) {
      in_a_row = 0;
    } else {
      return record_bytes > file->size() / 2;
    }
  }
  return true;
}

// Frames follow each other in most of a sample.
bool IsAudio(ReadOnlyFile* file, const std::function<bool()>& is_wanted) {
  AdtsScanner scanner(file, is_wanted);
  if (!scanner.FindFormat()) return false;
  uint64_t frame_bytes = 0;
  uint64_t sample_bytes = 0;
  for (uint64_t sample = 0; sample < kSamples; ++sample) {
    const uint64_t begin = file->size() / kSamples * sample;
    const uint64_t end = std::min<uint64_t>(file->size(), begin + kSampleSize);
    for (auto frame = scanner.Find(begin, end); frame;
         frame = scanner.Find(frame->position + frame->size, end)) {
      frame_bytes += frame->size;
    }
    sample_bytes += end - begin;
  }
  return frame_bytes > sample_bytes / 4;
}

// NAL units of the types that a recorder writes, and hardly any others.
bool IsVideo(const ReadOnlyFile& file) {
  constexpr uint32_t kFitsPerMisfit = 4;
  uint32_t fits = 0;
  uint32_t misfits = 0;
  for (uint64_t sample = 0; sample < kSamples; ++sample) {
    const std::vector<uint8_t> bytes = SampleOf(file, sample);
    for (const auto& unit :
         H264::FindNaluIndices(bytes.data(), static_cast<uint32_t>(bytes.size()))) {
      const uint8_t header = bytes[unit.payload_start_offset];
      const uint8_t type = H264::ParseNaluType(header);
      const bool is_usual = type == H264::kNaluTypeSlice ||
                            (type >= H264::kNaluTypeIdr && type <= H264::kNaluTypeFiller);
      const bool is_reference = H264::ParseNalRefIdc(header) != 0;
      const bool needs_reference =
          type == H264::kNaluTypeIdr || type == H264::kNaluTypeSps || type == H264::kNaluTypePps;
      const bool is_slice = type == H264::kNaluTypeSlice;
      const bool is_fit =
          header < 0x80 && is_usual && (is_slice || is_reference == needs_reference);
      ++(is_fit ? fits : misfits);
    }
  }
  return fits > misfits * kFitsPerMisfit;
}

// The index has nothing but records, and they name each byte of both files once, in order.
bool IsAsRecorded(ReadOnlyFile* index, const ReadOnlyFile& video, const ReadOnlyFile& audio,
                  const std::function<bool()>& is_wanted) {
  IndexWalker walker(index, is_wanted);
  IndexRecord record;
  uint64_t video_end = 0;
  uint64_t audio_end = 0;
  Step step;
  while ((step = walker.Next(&record)) == Step::kRecord) {
    if (!record.IsMedia()) continue;
    uint64_t* end = record.header.type == kxrtc::kVideoData ? &video_end : &audio_end;
    if (record.data.start_position != *end) return false;
    *end += record.data.size;
  }
  return step == Step::kEnd && index->size() > 0 && video_end == video.size() &&
         audio_end == audio.size();
}

}  // namespace

FileRoles::Role FileRoles::ContentOf(ReadOnlyFile* file, const std::function<bool()>& is_wanted) {
  if (file->size() == 0) return kUnknown;
  if (IsDescriptor(*file)) return kDescriptor;
  if (IsIndex(file, is_wanted)) return kIndex;
  if (IsAudio(file, is_wanted)) return kAudio;
  return IsVideo(*file) ? kVideo : kUnknown;
}

void FileRoles::Recognise(const std::function<bool()>& is_wanted, RepairChanges* changes) {
  if (IsAsRecorded(index(), *video(), *audio(), is_wanted)) return;
  for (int i = 0; i < kRoleCount; ++i) contents_[i] = ContentOf(roles_[i], is_wanted);
  Assign(changes);
}

void FileRoles::Assign(RepairChanges* changes) {
  const std::array<Role, kRoleCount>& contents = contents_;
  const std::array<ReadOnlyFile*, kRoleCount> files = roles_;
  std::array<bool, kRoleCount> is_used{};
  std::array<bool, kRoleCount> is_filled{};
  const auto use = [&](size_t file, size_t role) {
    roles_[role] = files[file];
    is_used[file] = is_filled[role] = true;
    if (file == role) return;
    changes->Add({RepairChange::Kind::kMoved, 0, std::nullopt,
                  Text("%s: taken for %s", files[file]->path().c_str(), kNames[role])});
  };
  for (size_t role = 0; role < kRoleCount; ++role) {
    roles_[role] = &nothing_;
    if (contents[role] == role) use(role, role);
  }
  for (size_t file = 0; file < kRoleCount; ++file) {
    const Role content = contents[file];
    if (content != kUnknown && !is_used[file] && !is_filled[content]) use(file, content);
  }
  // Nobody knows these files. Each keeps its role, or goes to where nothing else is.
  for (size_t file = 0; file < kRoleCount; ++file) {
    if (contents[file] == kUnknown && !is_filled[file]) use(file, file);
  }
  for (size_t file = 0; file < kRoleCount; ++file) {
    if (is_used[file]) continue;
    const bool is_known = contents[file] != kUnknown;
    if (!is_known && file != kDescriptor && files[file]->size() > 0 && !is_filled[kAudio]) {
      use(file, kAudio);
    } else if (is_known || files[file]->size() > 0) {
      changes->Add(
          {RepairChange::Kind::kLost, 0, std::nullopt,
           Text("%s: %s another file; this one is not used", files[file]->path().c_str(),
                is_known ? (std::string("has ") + kNames[contents[file]] + ", as has").c_str()
                         : "its place belongs to")});
    }
  }
}

}  // namespace kxrtc_host
