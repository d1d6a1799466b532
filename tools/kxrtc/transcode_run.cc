#include "tools/kxrtc/transcode_run.h"

#include <json/value.h>

#include <cstdio>

#include "host/ffmpeg_log.h"
#include "host/record/record_file.h"
#include "tools/kxrtc/file_of_record.h"
#include "tools/kxrtc/json_line.h"
#include "tools/kxrtc/transcoder_handle.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::Mp4WriterStatus;
using kxrtc_host::RecordEnd;
using kxrtc_host::VideoMode;
using kxrtc_host::WriterFailure;

constexpr std::chrono::milliseconds kRedrawInterval(200);

}  // namespace

TranscodeRun::TranscodeRun(const TranscodeOptions& options)
    : options_(options),
      folder_(kxrtc_host::RecordFolderPath(options.record_dir)),
      progress_(ChooseProgressStyle(options.quiet, options.json)),
      start_(std::chrono::steady_clock::now()) {}

void TranscodeRun::OnTranscodeProgress(uint32_t progress, uint32_t /*position*/) {
  percent_.store(progress, std::memory_order_relaxed);
}

void TranscodeRun::OnTranscodeCompleted() {
  completed_.store(true, std::memory_order_release);
  signals_.Wake();
}

void TranscodeRun::OnTranscodeError(int32_t error_code) {
  // A writer that fails makes the replay fail as well: the first code is the cause.
  int32_t none = 0;
  error_code_.compare_exchange_strong(none, error_code, std::memory_order_acq_rel);
  signals_.Wake();
}

int64_t TranscodeRun::ElapsedUs() const {
  return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() -
                                                               start_)
      .count();
}

kxrtc_host::Mp4SinkWriterOptions TranscodeRun::WriterOptions() const {
  kxrtc_host::Mp4SinkWriterOptions writer_options;
  writer_options.video_mode = options_.video_mode;
  if (!options_.preset.empty()) writer_options.preset = options_.preset;
  writer_options.replace_existing = options_.force;
  writer_options.sync = options_.sync;
  if (has_outline_) writer_options.bounds = BoundsOf(outline_, options_.video_mode);
  return writer_options;
}

ExitStatus TranscodeRun::Run() {
  kxrtc_host::SendFFmpegLogToLibraryLog();
  if (IsFileOfRecord(folder_, options_.output)) {
    return Fail(kExitOutputRefused, options_.output + " is a file of the record itself");
  }
  if (const std::string reason = kxrtc_host::ReplayObstacle(folder_); !reason.empty()) {
    return Fail(kExitRecordUnreadable, "cannot open the record in " + folder_ + ": " + reason);
  }
  has_outline_ = ReadRecordOutline(folder_, &outline_);
  if (has_outline_ && outline_.end == RecordEnd::kFrameTooLarge) {
    return Fail(kExitReplayFailed,
                "the record in " + folder_ +
                    " is damaged (a frame of more than 64 MiB); nothing is written");
  }
  kxrtc_host::MediaComponentFactoryImp factory(WriterOptions());
  TranscoderHandle transcoder = MakeTranscoder();
  transcoder->SetPreferHW(options_.prefer_hardware);
  if (transcoder->StartTranscoding(folder_.c_str(), options_.output.c_str(), this, &factory)) {
    WaitForEnd(factory);
  }
  const int32_t error_code = error_code_.load(std::memory_order_acquire);
  const bool cut_short = has_outline_ && (outline_.end == RecordEnd::kCutShort ||
                                          outline_.end == RecordEnd::kFrameMissing);
  if (signals_.signal_number() != 0 ||
      (error_code != 0 && !(error_code == kxrtc::kTranscodeErrorReplay && cut_short))) {
    factory.Discard();
  }
  transcoder->StopTranscoding();  // Finishes the file.
  progress_.End();
  return Settle(factory.status());
}

void TranscodeRun::WaitForEnd(const kxrtc_host::MediaComponentFactoryImp& factory) {
  while (!completed_.load(std::memory_order_acquire) &&
         error_code_.load(std::memory_order_acquire) == 0 && signals_.signal_number() == 0) {
    signals_.Wait(kRedrawInterval);
    ShowProgress(factory.media_time_us());
  }
}

void TranscodeRun::ShowProgress(int64_t media_us) {
  Progress progress;
  progress.percent = static_cast<int>(percent_.load(std::memory_order_relaxed));
  progress.media_us = media_us;
  progress.total_us = has_outline_ ? MediaDurationUs(outline_) : 0;
  // The library counts whole seconds; between them the time that was written is finer.
  if (progress.total_us > 0) {
    progress.percent = static_cast<int>(std::min<int64_t>(media_us * 100 / progress.total_us, 99));
  }
  progress.elapsed_us = ElapsedUs();
  progress_.Show(progress);
}

ExitStatus TranscodeRun::Fail(ExitStatus exit_status, const std::string& text) {
  if (options_.json) {
    Json::Value line;
    line["event"] = "error";
    line["message"] = text;
    line["exit_status"] = exit_status;
    PrintJsonLine(line);
  } else {
    std::fprintf(stderr, "kxrtc: %s\n", text.c_str());
  }
  return exit_status;
}

void TranscodeRun::Warn(const std::string& text) {
  if (options_.json) {
    Json::Value line;
    line["event"] = "warning";
    line["message"] = text;
    PrintJsonLine(line);
  } else {
    std::fprintf(stderr, "kxrtc: warning: %s\n", text.c_str());
  }
}

ExitStatus TranscodeRun::FailDamaged(const std::string& cause) {
  const bool has_content = !has_outline_ || outline_.sessions > 0;
  return Fail(kExitReplayFailed, "the record in " + folder_ + " is damaged (" + cause +
                                     "); nothing is written" +
                                     (has_content ? ", kxrtc repair makes it whole" : ""));
}

ExitStatus TranscodeRun::SettleFailure(const Mp4WriterStatus& status) {
  const int32_t error_code = error_code_.load(std::memory_order_acquire);
  const std::string cause = log_.first_error();
  const std::string& writer_text = status.failure_text.empty() ? cause : status.failure_text;
  switch (error_code) {
    case kxrtc::kTranscodeErrorOpenRecord:
      return Fail(kExitRecordUnreadable, "cannot open the record in " + folder_ + ": " + cause);
    case kxrtc::kTranscodeErrorStartWriter:
      return Fail(kExitOutputRefused, writer_text);
    case kxrtc::kTranscodeErrorReplay:
      if (status.failure == WriterFailure::kDiscarded) return FailDamaged(cause);
      if (status.failure == WriterFailure::kNothing && outline_.end == RecordEnd::kFrameMissing) {
        return FailDamaged("a frame is missing from its data file");
      }
      break;
    default:
      break;
  }
  if (status.failure == WriterFailure::kNothing) {
    return Fail(kExitNothingToPlay, "the record in " + folder_ + " holds nothing to play");
  }
  return Fail(kExitOutputFailed, writer_text);
}

ExitStatus TranscodeRun::Settle(const Mp4WriterStatus& status) {
  if (!status.file_written && signals_.signal_number() != 0) {
    return Fail(signals_.exit_status(), "stopped; nothing is written");
  }
  // What is to be said of a file that is not there concerns nobody, but why it would be empty does.
  if (status.file_written || status.failure == WriterFailure::kNothing) {
    for (const std::string& warning : status.warnings) Warn(warning);
  }
  if (!status.file_written) return SettleFailure(status);
  ExitStatus exit_status = kExitOk;
  if (error_code_.load(std::memory_order_acquire) != 0) {
    exit_status = kExitRecordIncomplete;
    const std::string cause = outline_.end == RecordEnd::kFrameMissing
                                  ? "a frame is missing from its data file (see kxrtc verify); "
                                  : "the record does not end with a stop record, as after a crash "
                                    "of the recording program; ";
    Warn(cause + options_.output + " holds everything up to there");
  }
  TellDone(status, exit_status);
  return exit_status;
}

void TranscodeRun::TellDone(const Mp4WriterStatus& status, ExitStatus exit_status) const {
  const double seconds = static_cast<double>(ElapsedUs()) / 1e6;
  const std::string video = status.video_encoder.empty() ? "copied" : status.video_encoder;
  if (options_.json) {
    Json::Value line;
    line["event"] = "done";
    line["output"] = options_.output;
    line["duration_us"] = Json::Int64{status.duration_us};
    line["bytes"] = Json::UInt64{status.file_size};
    line["video"] = video;
    line["video_samples"] = Json::UInt64{status.video_samples_written};
    line["audio_frames"] = Json::UInt64{status.audio_frames_written};
    line["seconds"] = seconds;
    line["exit_status"] = exit_status;
    PrintJsonLine(line);
  } else if (!options_.quiet) {
    std::printf("%s: %s, %.1f MB, video %s, in %.1f s\n", options_.output.c_str(),
                kxrtc_host::TimeText(status.duration_us).c_str(),
                static_cast<double>(status.file_size) / 1e6,
                status.video_encoder.empty() ? "copied" : ("encoded by " + video).c_str(), seconds);
  }
}

}  // namespace kxrtc_tool
