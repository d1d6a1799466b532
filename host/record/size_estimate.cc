#include "host/record/size_estimate.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "host/record/record_file.h"
#include "kxrtc/recording/speaker_record_descriptor.h"
#include "kxrtc/recording/speaker_record_format.h"
#include "rtc_transcoder/api/rtc_transcoder.h"

namespace kxrtc_host {
namespace {

namespace fs = std::filesystem;

// A folder among the system's temporary files.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::error_code code;
    std::string name = (fs::temp_directory_path(code) / "kxrtc_estimate_XXXXXX").string();
    if (!code && ::mkdtemp(name.data()) != nullptr) path_ = name + "/";
  }
  ~ScratchFolder() {
    std::error_code ignored;
    if (!path_.empty()) fs::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::string& path() const { return path_; }  // With its separator; empty: there is none.

 private:
  std::string path_;
};

std::string DescriptorPath(const std::string& folder) {
  return kxrtc::SpeakerRecordFilePath(RecordFolderPath(folder), kxrtc::kDescriptorFileExtension);
}

bool CopyDescriptor(const std::string& from, const std::string& to) {
  RecordFile source;
  if (source.Open(from) != RecordFile::State::kOpen) return false;
  if (source.size() > kxrtc::kMaxDescriptorSize) return false;
  std::string text(source.size(), '\0');
  if (source.Read(0, text.data(), text.size()) != text.size()) return false;
  std::ofstream copy(to, std::ios::binary);
  copy << text;
  copy.close();
  return copy.good();
}

// `folder` with its separator.
std::optional<uint64_t> Estimate(const std::string& folder) {
  void* handle = nullptr;
  CreateSpeakerRecordTranscoder(&handle);
  long long size = 0;
  const bool estimated = static_cast<kxrtc::SpeakerRecordTranscoder*>(handle)->EstimateOutputSize(
      folder.c_str(), &size);
  ReleaseSpeakerRecordTranscoder(handle);
  if (!estimated || size < 0) return std::nullopt;
  return static_cast<uint64_t>(size);
}

}  // namespace

std::optional<uint64_t> EstimateMp4Bytes(const std::string& folder) {
  const std::string descriptor = DescriptorPath(folder);
  if (::access(descriptor.c_str(), W_OK) == 0) return Estimate(RecordFolderPath(folder));
  const ScratchFolder scratch;
  if (scratch.path().empty()) return std::nullopt;
  if (!CopyDescriptor(descriptor, DescriptorPath(scratch.path()))) return std::nullopt;
  return Estimate(scratch.path());
}

}  // namespace kxrtc_host
