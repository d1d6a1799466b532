#include "record/check/sound_check.h"

#include <cinttypes>

#include "record/check/adts.h"
#include "record/check/audio_check.h"
#include "record/index/index_state.h"
#include "record/index/index_walker.h"
#include "record/index/record_text.h"

namespace kxrtc_host {
namespace {

class SoundCheck {
 public:
  SoundCheck(RecordFiles* files, SoundExaminer* examiner, const AudioFraming& framing,
             FindingList* findings, DamagedSound* damaged)
      : files_(files),
        examiner_(examiner),
        framing_(framing),
        findings_(findings),
        damaged_(damaged) {}

  void Run() {
    IndexWalker walker(&files_->index);
    IndexState state(&files_->video, &files_->audio);
    IndexRecord record;
    for (;;) {
      const IndexWalker::Step step = walker.Next(&record);
      if (step == IndexWalker::Step::kEnd) break;
      if (step != IndexWalker::Step::kRecord) continue;
      if (record.header.type == kxrtc::kAudioData && state.PlaceOf(record) == FramePlace::kInFile) {
        OnFrame(record);
      }
      state.Take(record);
    }
    EndRun();
  }

 private:
  // True when the MP4 will not contain the frame, or the frame decodes.
  bool IsGood(const IndexRecord& record) {
    const uint32_t size = record.data.size;
    // No player takes a larger one, and no encoder makes it.
    if (size > kMaxAacFrameSize) return framing_.is_adts;
    const uint8_t* const data = files_->audio.View(record.data.start_position, size);
    if (data == nullptr) return true;  // A finding of its own.
    const std::optional<uint32_t> header_size = HeaderSizeOfAlike(framing_, data, size);
    return !header_size || examiner_->Decodes(data + *header_size, size - *header_size);
  }

  void OnFrame(const IndexRecord& record) {
    if (record.data.size == 0) return;
    const bool is_good = IsGood(record);
    if (is_good) EndRun();
    has_good_ = has_good_ || is_good;
    if (is_good) return;
    if (run_length_++ == 0) first_ = record;
    if (damaged_ != nullptr) damaged_->Add(record.data);
  }

  void EndRun() {
    if (run_length_ == 0) return;
    // The first raw frame that decodes shows the MP4 writer that the sound is AAC.
    const bool is_left_out = !framing_.is_adts && !has_good_;
    findings_->Add(is_left_out ? FindingCode::kAudioLeftOut : FindingCode::kAudioUndecodable,
                   first_.header.record_timestamp_us,
                   Text("%s in a row, the first at %" PRIu64 " of .aac, cannot be decoded: %s",
                        CountText(run_length_, "audio frame").c_str(), first_.data.start_position,
                        is_left_out ? ByCount(run_length_, "the MP4 begins after it",
                                              "the MP4 begins after them")
                                    : "the MP4 is silent there; with --video copy, transcode with "
                                      "--check-sound, or players may stop there"));
    run_length_ = 0;
  }

  RecordFiles* const files_;
  SoundExaminer* const examiner_;
  const AudioFraming framing_;
  FindingList* const findings_;
  DamagedSound* const damaged_;
  IndexRecord first_;  // Of the run.
  uint64_t run_length_ = 0;
  bool has_good_ = false;
};

}  // namespace

void CheckSound(RecordFiles* files, SoundExaminer* examiner, RecordSummary* summary,
                DamagedSound* damaged) {
  const AudioFormat& audio = summary->audio;
  if (audio.is_known) {
    if (!AudioRefusal(*summary).empty()) return;
    AudioFraming framing;
    framing.is_adts = audio.is_adts;
    framing.channels = audio.channels;
    const uint32_t channels = RecordedChannels(*summary);
    if (!examiner->Begin(audio.object_type, channels)) return;
    SoundCheck(files, examiner, framing, &summary->findings, damaged).Run();
  }
  summary->sound_examined = true;
}

}  // namespace kxrtc_host
