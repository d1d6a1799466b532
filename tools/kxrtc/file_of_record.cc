#include "tools/kxrtc/file_of_record.h"

#include "host/record/record_file.h"
#include "host/shared/link_target.h"
#include "kxrtc/recording/speaker_record_format.h"

namespace kxrtc_tool {

bool IsFileOfRecord(const std::string& folder, const std::string& path) {
  for (const char* extension : {kxrtc::kDescriptorFileExtension, kxrtc::kIndexFileExtension,
                                kxrtc::kVideoFileExtension, kxrtc::kAudioFileExtension}) {
    const std::string file =
        kxrtc::SpeakerRecordFilePath(kxrtc_host::RecordFolderPath(folder), extension);
    if (kxrtc_host::LeadToSameFile(file, path)) return true;
  }
  return false;
}

}  // namespace kxrtc_tool
