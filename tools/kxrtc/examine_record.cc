#include "tools/kxrtc/examine_record.h"

#include "host/ffmpeg/aac_examiner.h"
#include "host/ffmpeg/ffmpeg_log.h"
#include "host/ffmpeg/h264_format_reader.h"
#include "record/predict/record_analysis.h"

namespace kxrtc_tool {

kxrtc_host::RecordSummary ExamineRecord(const std::string& folder, SoundExamination sound) {
  kxrtc_host::SendFFmpegLogToLibraryLog();
  kxrtc_host::AacExaminer sound_examiner;
  kxrtc_host::H264FormatReader format_reader;
  kxrtc_host::AnalysisOptions options;
  options.parameter_set_examiner = &format_reader;
  if (sound == SoundExamination::kEveryFrame) options.sound_examiner = &sound_examiner;
  return kxrtc_host::AnalyseRecord(folder, options);
}

}  // namespace kxrtc_tool
