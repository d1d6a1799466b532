#include "record/bundle/record_bundle.h"

#include <unistd.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "kxrtc/recording/speaker_record_format.h"
#include "record/bundle/audio_mask.h"
#include "record/bundle/bundle_documents.h"
#include "record/bundle/descriptor_mask.h"
#include "record/bundle/index_mask.h"
#include "record/bundle/masked_file.h"
#include "record/bundle/timeline_mask.h"
#include "record/bundle/video_mask.h"
#include "record/check/audio_check.h"
#include "record/index/record_files.h"
#include "record/repair/file_roles.h"

namespace kxrtc_host {
namespace {

constexpr char kBundleFolder[] = "kxrtc-bundle/";
constexpr size_t kPieceSize = 256 * 1024;
constexpr size_t kMaxParts = 1000;  // Of a file with holes; the rest counts as data.

void FindHoles(const ReadOnlyFile& file, ArchiveEntry* entry) {
  uint64_t end = 0;
  while (entry->data.size() < kMaxParts) {
    const uint64_t begin = file.NextData(end);
    if (begin > end) entry->has_holes = true;
    if (begin >= file.size()) return;
    end = file.NextHole(begin);
    entry->data.push_back({begin, end});
  }
  entry->data.back().end = file.size();
}

class Bundle {
 public:
  Bundle(const BundleInput& input, const IsWanted& is_wanted, ArchiveSink* archive)
      : input_(input),
        folder_(RecordFolderPath(input.folder)),
        is_wanted_(is_wanted),
        archive_(archive) {}

  BundleResult Run() {
    files_.Open(folder_);
    RepairChanges ignored;
    roles_.Recognise(is_wanted_, &ignored);
    result_.packed =
        PackText("verify.json", BundledVerifyDocument(input_)) &&
        PackText("versions.json", input_.versions) &&
        PackFile(&files_.index, kxrtc::kIndexFileExtension, FileRoles::kIndex) &&
        PackFile(&files_.video, kxrtc::kVideoFileExtension, FileRoles::kVideo) &&
        PackFile(&files_.audio, kxrtc::kAudioFileExtension, FileRoles::kAudio) &&
        PackFile(&files_.descriptor, kxrtc::kDescriptorFileExtension, FileRoles::kDescriptor) &&
        PackTimeline() && Check(archive_->Finish());
    return std::move(result_);
  }

 private:
  bool Check(bool done) {
    if (!done) result_.error = archive_->error_text();
    return done;
  }

  bool FailRecord(const std::string& error) {
    result_.record_failed = true;
    result_.error = error;
    return false;
  }

  bool IsWanted() {
    if (!is_wanted_ || is_wanted_()) return true;
    result_.error = kStoppedText;
    return false;
  }

  bool Begin(ArchiveEntry entry) {
    entry.name = kBundleFolder + entry.name;
    result_.files.push_back({entry.name, entry.size});
    return Check(archive_->Begin(entry));
  }

  bool PackText(const char* name, const std::string& text) {
    ArchiveEntry entry;
    entry.name = name;
    entry.size = text.size();
    return Begin(entry) && Check(archive_->Write(text.data(), text.size()));
  }

  // `is_content`: the file has in it what its name or its bytes say.
  std::unique_ptr<FileMask> MaskOf(ReadOnlyFile* file, FileRoles::Role role, bool is_content) {
    switch (role) {
      case FileRoles::kIndex:
        return std::make_unique<IndexMask>(file, is_wanted_);
      case FileRoles::kVideo:
        return std::make_unique<VideoMask>(file, is_content, is_wanted_);
      case FileRoles::kAudio:
        return std::make_unique<AudioMask>(roles_.index(), file, SoundOf(file, is_content),
                                           is_wanted_);
      default:
        return std::make_unique<DescriptorMask>(file);
    }
  }

  // Where a file has the name of another one, repair goes by its content and verify by its name. A
  // descriptor's mask keeps no bytes of anything else.
  void AddMasks(ReadOnlyFile* file, FileRoles::Role name, MaskedFile* masked) {
    const FileRoles::Role content = roles_.content(name);
    const bool is_known = content != FileRoles::kUnknown;
    masked->Add(MaskOf(file, is_known ? content : name, true));
    if (is_known && content != name && name != FileRoles::kDescriptor) {
      masked->Add(MaskOf(file, name, false));
    }
  }

  // What is known of the sound was found under its name. Elsewhere it is recognised by headers.
  AudioMask::Sound SoundOf(const ReadOnlyFile* file, bool is_content) const {
    const RecordSummary& summary = *input_.summary;
    const bool is_examined = file == &files_.audio;
    AudioMask::Sound sound;
    sound.is_adts = summary.audio.is_adts || !is_examined;
    sound.channels = is_content ? RecordedChannels(summary) : 0;
    sound.damaged = is_examined ? input_.damaged_sound : nullptr;
    return sound;
  }

  bool PackFile(ReadOnlyFile* file, const char* extension, FileRoles::Role name) {
    if (!file->is_open()) return true;
    ArchiveEntry entry;
    entry.name = kxrtc::SpeakerRecordFilePath(kBundledRecordFolder, extension);
    entry.size = file->size();
    entry.is_writable = ::access(file->path().c_str(), W_OK) == 0;
    FindHoles(*file, &entry);
    if (!Begin(entry)) return false;
    MaskedFile masked;
    AddMasks(file, name, &masked);
    uint64_t end = 0;
    for (const ArchiveEntry::Part& part : entry.data) {
      if (!Check(archive_->Skip(part.begin - end)) || !PackPart(part, &masked)) return false;
      end = part.end;
    }
    return Check(archive_->Skip(entry.size - end)) && CheckReads(*file);
  }

  bool PackPart(const ArchiveEntry::Part& part, MaskedFile* masked) {
    buffer_.resize(kPieceSize);
    for (uint64_t at = part.begin; at < part.end;) {
      const auto size = static_cast<size_t>(std::min<uint64_t>(kPieceSize, part.end - at));
      masked->Read(at, buffer_.data(), size);
      if (!IsWanted() || !Check(archive_->Write(buffer_.data(), size))) return false;
      at += size;
    }
    return true;
  }

  // Where a mask could not read, it keeps nothing.
  bool CheckReads(const ReadOnlyFile& file) {
    uint8_t last = 0;
    const bool has_end = file.size() == 0 || file.Read(file.size() - 1, &last, 1) == 1;
    if (has_end && !file.has_read_error()) return true;
    return FailRecord(file.path() + ": " + file.ReadFailureText());
  }

  // The archive needs the size first, so the text is made twice.
  bool PackTimeline() {
    TimelineMask counted;
    if (!counted.Open(folder_)) return true;
    ArchiveEntry entry;
    entry.name = std::string(kBundledRecordFolder) + kSpeakerTimelineFileName;
    for (std::string text; counted.Next(&text);) {
      entry.size += text.size();
      if (!IsWanted()) return false;
    }
    if (!Begin(entry)) return false;
    TimelineMask timeline;
    const bool is_open = timeline.Open(folder_);
    uint64_t written = 0;
    for (std::string text; is_open && written < entry.size && timeline.Next(&text);) {
      text.resize(std::min<uint64_t>(text.size(), entry.size - written));  // It may have grown.
      written += text.size();
      if (!IsWanted() || !Check(archive_->Write(text.data(), text.size()))) return false;
    }
    if (written == entry.size) return true;
    return FailRecord(folder_ + kSpeakerTimelineFileName + ": became shorter while it was read");
  }

  const BundleInput& input_;
  const std::string folder_;
  const kxrtc_host::IsWanted& is_wanted_;
  ArchiveSink* archive_;
  BundleResult result_;
  RecordFiles files_;
  FileRoles roles_{&files_};
  std::vector<uint8_t> buffer_;
};

}  // namespace

BundleResult PackRecord(const BundleInput& input, const IsWanted& is_wanted, ArchiveSink* archive) {
  return Bundle(input, is_wanted, archive).Run();
}

}  // namespace kxrtc_host
