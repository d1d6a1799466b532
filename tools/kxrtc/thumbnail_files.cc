#include "tools/kxrtc/thumbnail_files.h"

#include <filesystem>
#include <system_error>

#include "tools/kxrtc/path_options.h"

namespace kxrtc_tool {

namespace fs = std::filesystem;

ThumbnailFiles::~ThumbnailFiles() {
  outputs_.clear();
  std::error_code ignored;  // Somebody may have put something into the folder.
  if (made_folder_) fs::remove(folder_, ignored);
}

bool ThumbnailFiles::Refuse(const std::string& why) {
  error_ = why;
  is_refused_ = true;
  return false;
}

bool ThumbnailFiles::Open() {
  std::error_code error;
  if (fs::is_directory(folder_, error)) return true;
  made_folder_ = fs::create_directory(folder_, error);
  if (made_folder_) return true;
  return Refuse(folder_ + ": " + (error ? error.message() : "is not a folder"));
}

bool ThumbnailFiles::Write(const std::string& name, const std::string& content) {
  const std::string path = (fs::path(folder_) / name).string();
  auto output = std::make_unique<kxrtc_host::OutputFile>();
  output->set_is_wanted(is_wanted_);
  if (!output->Open(path, force_)) return Refuse(output->error_text() + HintAtForce(path, force_));
  if (!output->WriteAt(0, content.data(), content.size())) {
    error_ = output->error_text();
    return false;
  }
  outputs_.push_back(std::move(output));
  files_.push_back({name, content.size()});
  return true;
}

bool ThumbnailFiles::Commit() {
  for (size_t i = 0; i < outputs_.size(); ++i) {
    if (!outputs_[i]->Commit(true)) {
      error_ = outputs_[i]->error_text();
      if (!force_) RemoveFirst(i);
      return false;
    }
    if (warning_.empty()) warning_ = outputs_[i]->warning_text();
  }
  made_folder_ = false;  // It stays.
  outputs_.clear();
  return true;
}

void ThumbnailFiles::RemoveFirst(size_t count) const {
  std::error_code ignored;  // A whole file stays, then.
  for (size_t i = 0; i < count; ++i) fs::remove(fs::path(folder_) / files_[i].name, ignored);
}

}  // namespace kxrtc_tool
