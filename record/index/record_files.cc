#include "record/index/record_files.h"

#include <unistd.h>

#include "kxrtc/recording/speaker_record_format.h"

namespace kxrtc_host {

std::string RecordFolderPath(const std::string& folder) {
  return folder.empty() || folder.back() == '/' ? folder : folder + "/";
}

void RecordFiles::Open(const std::string& folder) {
  const std::string path = RecordFolderPath(folder);
  index.Open(kxrtc::SpeakerRecordFilePath(path, kxrtc::kIndexFileExtension));
  video.Open(kxrtc::SpeakerRecordFilePath(path, kxrtc::kVideoFileExtension));
  audio.Open(kxrtc::SpeakerRecordFilePath(path, kxrtc::kAudioFileExtension));
  descriptor.Open(kxrtc::SpeakerRecordFilePath(path, kxrtc::kDescriptorFileExtension));
}

std::string ReplayObstacle(const RecordFiles& files) {
  for (const ReadOnlyFile* file : {&files.index, &files.video, &files.audio, &files.descriptor}) {
    if (!file->is_open()) return file->path() + ": " + file->error();
    if (::access(file->path().c_str(), W_OK) != 0) {
      return file->path() + ": no permission to write, but transcoding needs it; " +
             "copy the record";
    }
  }
  return "";
}

}  // namespace kxrtc_host
