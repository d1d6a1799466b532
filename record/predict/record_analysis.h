// Reads a whole record once and sums it up. The record is never changed. Memory stays bounded,
// whatever is in the files.
// Threads: any; blocks while it reads.
#ifndef RECORD_PREDICT_RECORD_ANALYSIS_H_
#define RECORD_PREDICT_RECORD_ANALYSIS_H_

#include <string>

#include "kxrtc/recording/replay_rules.h"
#include "record/check/damaged_sound.h"
#include "record/check/parameter_set_examiner.h"
#include "record/check/record_summary.h"
#include "record/check/sound_examiner.h"
#include "record/predict/key_frame_choice.h"

namespace kxrtc_host {

// What this house cannot do itself, and what only some ask for. Each is borrowed for the call;
// null: it is not done.
struct AnalysisOptions {
  SoundExaminer* sound_examiner = nullptr;
  ParameterSetExaminer* parameter_set_examiner = nullptr;
  KeyFrameChoice* key_frames = nullptr;  // Gets the key frames of the MP4.
  uint32_t frame_rate = kxrtc::VideoSettingsFor(false).frame_rate;  // Of encoded video.
  DamagedSound* damaged_sound = nullptr;  // Gets the frames that the sound examiner refuses.
};

// `folder` with or without its trailing separator. Never fails: what cannot be read is a finding.
RecordSummary AnalyseRecord(const std::string& folder, const AnalysisOptions& options = {});

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_RECORD_ANALYSIS_H_
