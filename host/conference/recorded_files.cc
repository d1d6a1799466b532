#include "host/conference/recorded_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "kxrtc/recording/speaker_record_descriptor.h"
#include "record/index/record_text.h"

namespace kxrtc_host {
namespace {

constexpr size_t kMaxDescriptorSize = 64 << 20;

// The name of the file is gone, or is that of another one.
std::string MissingText(const ReadOnlyFile& file) {
  struct stat named {};
  struct stat opened {};
  if (::fstat(file.descriptor(), &opened) != 0) return file.path() + ": " + std::strerror(errno);
  if (::stat(file.path().c_str(), &named) == 0) {
    if (named.st_dev == opened.st_dev && named.st_ino == opened.st_ino) return "";
    return file.path() + ": was replaced by another file while it was recorded";
  }
  if (opened.st_nlink > 0) return file.path() + ": was moved while it was recorded";
  return file.path() + ": was removed while it was recorded";
}

// After a failed write the part of it that was written may still stand at the end.
std::string SizeText(const ReadOnlyFile& file, uint64_t recorded, bool may_be_longer) {
  if (file.size() == recorded || (may_be_longer && file.size() > recorded)) return "";
  return file.path() + ": has " + CountText(file.size(), "byte") + ", but " +
         std::to_string(recorded) + ByCount(recorded, " was", " were") + " recorded";
}

std::string IndexText(ReadOnlyFile* index, const RecordCounts& counts) {
  ByteDigest digest;
  for (uint64_t position = 0; position < counts.index_bytes;) {
    const size_t size = static_cast<size_t>(
        std::min<uint64_t>(counts.index_bytes - position, ReadOnlyFile::kWindowSize));
    const uint8_t* const bytes = index->View(position, size);
    if (bytes == nullptr) return index->path() + ": cannot be read back";
    digest.Add(bytes, size);
    position += size;
  }
  if (digest.value() == counts.index_digest.value()) return "";
  return index->path() + ": is not as it was recorded, another program wrote into it";
}

// The descriptor is rewritten over and over; a failure leaves it as it was before.
bool DescriptorIsCurrent(const ReadOnlyFile& file, const RecordCounts& counts) {
  std::string text(std::min<uint64_t>(file.size(), kMaxDescriptorSize), '\0');
  text.resize(file.Read(0, &text[0], text.size()));
  kxrtc::SpeakerRecordDescReader reader;
  kxrtc::SpeakerRecordOverall overall;
  if (!reader.InitializeFromText(std::move(text)) || !reader.GetSpeakerRecordOverall(&overall)) {
    return false;
  }
  RecordCounts described;
  int64_t end_us = 0;
  for (uint32_t i = 0; i < overall.record_session_count; ++i) {
    kxrtc::SpeakerRecordSession session;
    if (!reader.GetSpeakerRecordSession(i, &session)) return false;
    described.video_frames += session.session_video_frame_count;
    described.audio_frames += session.session_audio_frame_count;
    described.switches += session.session_video_switch_count;
    end_us = session.sessoin_end_timestamp_us;
  }
  // The index may give the stop one microsecond more.
  return overall.record_session_count == counts.sessions &&
         described.video_frames == counts.video_frames &&
         described.audio_frames == counts.audio_frames && described.switches == counts.switches &&
         end_us + 1 >= counts.stop_us;
}

}  // namespace

bool RecordedFiles::Open(const std::string& folder, std::string* error) {
  folder_ = folder;
  files_.Open(folder);
  for (const ReadOnlyFile* file :
       {&files_.index, &files_.video, &files_.audio, &files_.descriptor}) {
    if (file->is_open()) continue;
    *error = file->path() + ": " + file->error();
    return false;
  }
  return true;
}

std::string RecordedFiles::FindMissing() const {
  for (const ReadOnlyFile* file :
       {&files_.index, &files_.video, &files_.audio, &files_.descriptor}) {
    if (std::string text = MissingText(*file); !text.empty()) return text;
  }
  return "";
}

std::string RecordedFiles::FindDamage(const RecordCounts& counts) const {
  if (std::string text = FindMissing(); !text.empty()) return text;
  RecordFiles now;
  now.Open(folder_);
  for (const ReadOnlyFile* file : {&now.index, &now.video, &now.audio, &now.descriptor}) {
    if (!file->is_open()) return file->path() + ": " + file->error();
    if (::fsync(file->descriptor()) != 0) {
      return file->path() + ": cannot be written to the disk: " + std::strerror(errno);
    }
  }
  const bool may_be_longer = counts.failed_writes > 0;
  const struct {
    const ReadOnlyFile& file;
    uint64_t recorded;
  } sizes[] = {{now.index, counts.index_bytes},
               {now.video, counts.video_bytes},
               {now.audio, counts.audio_bytes}};
  for (const auto& [file, recorded] : sizes) {
    if (std::string text = SizeText(file, recorded, may_be_longer); !text.empty()) return text;
  }
  if (std::string text = IndexText(&now.index, counts); !text.empty()) return text;
  if (DescriptorIsCurrent(now.descriptor, counts)) return "";
  return now.descriptor.path() +
         ": could not be written to its end; kxrtc repair makes a record with a new one";
}

}  // namespace kxrtc_host
