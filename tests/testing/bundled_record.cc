#include "tests/testing/bundled_record.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <json/value.h>
#include <unistd.h>

#include <filesystem>

#include "record/bundle/record_bundle.h"
#include "record/predict/record_analysis.h"
#include "record/repair/record_repair.h"
#include "record/show/record_documents.h"

namespace kx_testing {
namespace {

namespace fs = std::filesystem;

// Writes the files of the record to a folder.
class FolderSink final : public kxrtc_host::ArchiveSink {
 public:
  explicit FolderSink(const std::string& folder) : folder_(folder) {}
  ~FolderSink() override { Close(); }

  bool Begin(const kxrtc_host::ArchiveEntry& entry) override {
    path_ = folder_ + fs::path(entry.name).filename().string();
    position_ = 0;
    WriteFile(path_, "");
    EXPECT_EQ(::truncate(path_.c_str(), static_cast<off_t>(entry.size)), 0);
    Close();
    file_ = ::open(path_.c_str(), O_WRONLY | O_CLOEXEC);
    if (!entry.is_writable) fs::permissions(path_, fs::perms{0444});
    return file_ >= 0;
  }

  bool Write(const void* data, size_t size) override {
    EXPECT_EQ(::pwrite(file_, data, size, static_cast<off_t>(position_)),
              static_cast<ssize_t>(size));
    return Skip(size);
  }

  bool Skip(uint64_t size) override {
    position_ += size;
    return true;
  }

  bool Finish() override { return true; }
  const std::string& error_text() const override { return path_; }

 private:
  void Close() {
    if (file_ >= 0) ::close(file_);
    file_ = -1;
  }

  const std::string& folder_;
  std::string path_;
  int file_ = -1;
  uint64_t position_ = 0;
};

std::string Without(const std::string& folder, std::string text) {
  for (size_t at = text.find(folder); at != text.npos; at = text.find(folder, at)) {
    text.replace(at, folder.size(), "record/");
  }
  return text;
}

kxrtc_host::RecordSummary Analyse(const std::string& folder, kxrtc_host::SoundExaminer* examiner,
                                  kxrtc_host::DamagedSound* damaged) {
  kxrtc_host::AnalysisOptions options;
  options.sound_examiner = examiner;
  options.damaged_sound = damaged;
  return kxrtc_host::AnalyseRecord(folder, options);
}

std::string Told(const std::string& folder, kxrtc_host::SoundExaminer* examiner) {
  const kxrtc_host::RecordSummary summary = Analyse(folder, examiner, nullptr);
  const kxrtc_host::RepairResult preview = kxrtc_host::PreviewRepair(folder, {});
  return Without(folder, kxrtc_host::JsonText(kxrtc_host::InfoDocument(summary)) + "\n" +
                             kxrtc_host::JsonText(kxrtc_host::VerifyDocument(summary)) + "\n" +
                             kxrtc_host::JsonText(kxrtc_host::RepairDocument(preview)));
}

}  // namespace

BundledRecord::BundledRecord(const std::string& folder, kxrtc_host::SoundExaminer* examiner) {
  kxrtc_host::DamagedSound damaged;
  const kxrtc_host::RecordSummary summary = Analyse(folder, examiner, &damaged);
  kxrtc_host::BundleInput input;
  input.folder = folder;
  input.summary = &summary;
  input.damaged_sound = &damaged;
  FolderSink sink(dir_.path());
  const kxrtc_host::BundleResult result = PackRecord(input, nullptr, &sink);
  EXPECT_TRUE(result.packed) << result.error;
  verify_document_ = ReadFile(dir_.File("verify.json"));
  fs::remove(dir_.File("verify.json"));
  fs::remove(dir_.File("versions.json"));
}

void ExpectBundleTellsTheSame(const std::string& folder, kxrtc_host::SoundExaminer* examiner) {
  const BundledRecord bundled(folder, examiner);
  EXPECT_EQ(Told(bundled.dir().path(), examiner), Told(folder, examiner));
}

}  // namespace kx_testing
