#include "tools/kxrtc/examine_record.h"

#include <memory>
#include <optional>

#include "record/predict/record_analysis.h"
#include "tools/kxrtc/media_loader.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::Media;

// Loads at the first need, and tries it once.
class MediaOnDemand {
 public:
  // Null after a failure.
  const Media* Get() {
    if (media_ == nullptr && error_.empty()) media_ = LoadMedia(&error_);
    return media_;
  }

  const std::string& error() const { return error_; }  // Empty: none so far.

 private:
  const Media* media_ = nullptr;
  std::string error_;
};

// For sound that is there.
class SoundExaminerOnDemand final : public kxrtc_host::SoundExaminer {
 public:
  explicit SoundExaminerOnDemand(MediaOnDemand* media) : media_(media) {}

  [[nodiscard]] bool Begin(uint32_t object_type, uint32_t channel_count) override {
    const Media* const media = media_->Get();
    if (examiner_ == nullptr && media != nullptr) examiner_ = media->MakeSoundExaminer();
    return examiner_ != nullptr && examiner_->Begin(object_type, channel_count);
  }

  [[nodiscard]] bool Decodes(const uint8_t* data, uint32_t size) override {
    return examiner_->Decodes(data, size);
  }

 private:
  MediaOnDemand* const media_;
  std::unique_ptr<kxrtc_host::SoundExaminer> examiner_;
};

// For parameter sets that the library does not parse.
class ParameterSetExaminerOnDemand final : public kxrtc_host::ParameterSetExaminer {
 public:
  explicit ParameterSetExaminerOnDemand(MediaOnDemand* media) : media_(media) {}

  [[nodiscard]] std::optional<kxrtc_host::VideoFormat> Examine(const uint8_t* data,
                                                               uint32_t size) override {
    const Media* const media = media_->Get();
    if (media == nullptr) return std::nullopt;
    if (examiner_ == nullptr) examiner_ = media->MakeParameterSetExaminer();
    return examiner_->Examine(data, size);
  }

 private:
  MediaOnDemand* const media_;
  std::unique_ptr<kxrtc_host::ParameterSetExaminer> examiner_;
};

}  // namespace

bool ExamineRecord(const std::string& folder, SoundExamination sound,
                   kxrtc_host::RecordSummary* summary, std::string* error,
                   kxrtc_host::AnalysisOptions options) {
  MediaOnDemand media;
  SoundExaminerOnDemand sound_examiner(&media);
  ParameterSetExaminerOnDemand parameter_set_examiner(&media);
  options.parameter_set_examiner = &parameter_set_examiner;
  if (sound == SoundExamination::kEveryFrame) options.sound_examiner = &sound_examiner;
  *summary = kxrtc_host::AnalyseRecord(folder, options);
  *error = media.error();
  return error->empty();
}

}  // namespace kxrtc_tool
