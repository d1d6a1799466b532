#include "record/index/record_files.h"

#include <unistd.h>

#include <array>

#include "kxrtc/recording/speaker_record_format.h"

namespace kxrtc_host {
namespace {

std::array<const ReadOnlyFile*, 4> FilesOf(const RecordFiles& files) {
  return {&files.index, &files.video, &files.audio, &files.descriptor};
}

bool IsWritable(const ReadOnlyFile& file) { return ::access(file.path().c_str(), W_OK) == 0; }

}  // namespace

std::string RecordFolderPath(const std::string& folder) {
  return folder.empty() || folder.back() == '/' ? folder : folder + "/";
}

bool IsRecordFileName(const std::string& name) {
  constexpr size_t kPrefixSize = sizeof(kxrtc::kSpeakerRecordFilePrefix) - 1;
  if (name.compare(0, kPrefixSize, kxrtc::kSpeakerRecordFilePrefix) != 0) return false;
  for (const char* extension : {kxrtc::kIndexFileExtension, kxrtc::kVideoFileExtension,
                                kxrtc::kAudioFileExtension, kxrtc::kDescriptorFileExtension}) {
    if (name.compare(kPrefixSize, std::string::npos, extension) == 0) return true;
  }
  return false;
}

void RecordFiles::Open(const std::string& folder) {
  const std::string path = RecordFolderPath(folder);
  index.Open(kxrtc::SpeakerRecordFilePath(path, kxrtc::kIndexFileExtension));
  video.Open(kxrtc::SpeakerRecordFilePath(path, kxrtc::kVideoFileExtension));
  audio.Open(kxrtc::SpeakerRecordFilePath(path, kxrtc::kAudioFileExtension));
  descriptor.Open(kxrtc::SpeakerRecordFilePath(path, kxrtc::kDescriptorFileExtension));
}

std::string NoRecordText(const RecordFiles& files) {
  for (const ReadOnlyFile* file : FilesOf(files)) {
    if (file->state() != ReadOnlyFile::State::kMissing) return "";
  }
  const std::string& path = files.index.path();
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  const bool is_folder = ::access(folder.empty() ? "." : folder.c_str(), F_OK) == 0;
  return is_folder ? "the folder contains no record" : "there is no such folder";
}

std::string ReplayObstacle(const RecordFiles& files) {
  if (std::string text = NoRecordText(files); !text.empty()) return text;
  for (const ReadOnlyFile* file : FilesOf(files)) {
    if (!file->is_open()) {
      const bool is_missing = file->state() == ReadOnlyFile::State::kMissing;
      return file->path() + ": " + file->error() +
             (is_missing ? "; kxrtc repair makes a record of the other files" : "");
    }
  }
  return "";
}

bool IsReadOnly(const RecordFiles& files) {
  bool is_read_only = false;
  for (const ReadOnlyFile* file : FilesOf(files)) {
    if (!file->is_open()) return false;
    is_read_only |= !IsWritable(*file);
  }
  return is_read_only;
}

}  // namespace kxrtc_host
