#include "tools/kxrtc/transcode_messages.h"

#include <json/value.h>

#include <cstdio>

#include "record/index/record_text.h"
#include "record/speakers/timeline_entry.h"
#include "record/timing/time_text.h"
#include "tools/kxrtc/json_line.h"
#include "tools/kxrtc/part_document.h"
#include "tools/kxrtc/terminal_text.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::CountText;
using kxrtc_host::Mp4WriterStatus;

// What the timeline gave the MP4, and the captions.
void AddSpeakers(const Mp4WriterStatus& writer, const SpeakerOutputs& speakers, Json::Value* line) {
  const kxrtc_host::Mp4Tags tags = speakers.Tags();
  (*line)["chapters"] = Json::UInt64{writer.chapters_written};
  if (!tags.title.empty()) (*line)["title"] = tags.title;
  if (tags.created_us) (*line)["creation_time"] = kxrtc_host::UtcText(*tags.created_us);
  if (!speakers.cues()) return;
  (*line)["captions"]["output"] = speakers.captions_path();
  (*line)["captions"]["cues"] = Json::UInt64{*speakers.cues()};
}

}  // namespace

void TranscodeMessages::Warning(const std::string& text) {
  told_["warnings"].append(text);
  if (!json_) return Warn(text);
  Json::Value line = EventLine("warning");
  line["message"] = text;
  PrintJsonLine(line);
}

ExitStatus TranscodeMessages::Failure(ExitStatus status, const std::string& message) {
  told_["message"] = message;
  if (!json_) return Fail(status, message);
  PrintErrorLine(status, message);
  return status;
}

void TranscodeMessages::UpToDate(ExitStatus status, const std::string& text) const {
  if (json_) {
    Json::Value line = EventLine("up_to_date");
    line["output"] = output_;
    line["exit_status"] = status;
    PrintJsonLine(line);
  } else if (!quiet_) {
    std::printf("%s\n", TerminalText(text).c_str());
  }
}

void TranscodeMessages::Done(ExitStatus status, const Mp4WriterStatus& writer,
                             const SpeakerOutputs& speakers, int64_t elapsed_us) {
  const double seconds = static_cast<double>(elapsed_us) / 1e6;
  Json::Value line = told_;
  line["duration_us"] = Json::Int64{writer.duration_us};
  line["bytes"] = Json::UInt64{writer.file_size};
  line["video"] = writer.is_sound_only           ? "none"
                  : writer.video_encoder.empty() ? "copied"
                                                 : writer.video_encoder;
  if (!writer.video_encoder.empty()) {
    line["width"] = writer.video_width;
    line["height"] = writer.video_height;
    line["frame_rate"] = writer.video_frame_rate;
  }
  line["video_samples"] = Json::UInt64{writer.video_samples_written};
  line["audio_frames"] = Json::UInt64{writer.audio_frames_written};
  line["audio_frames_silenced"] = Json::UInt64{writer.audio_frames_silenced};
  line["sound_examined"] = writer.sound_examined;
  if (!writer.parts.IsWhole()) line["parts"] = PartsDocument(writer.parts);
  AddSpeakers(writer, speakers, &line);
  line["seconds"] = seconds;
  told_ = line;
  if (!json_) return PrintDone(writer, speakers, seconds);
  Json::Value event = EventLine("done");
  for (const std::string& member : line.getMemberNames()) {
    if (member != "warnings") event[member] = line[member];
  }
  event["output"] = output_;
  event["exit_status"] = status;
  PrintJsonLine(event);
}

void TranscodeMessages::PrintDone(const Mp4WriterStatus& writer, const SpeakerOutputs& speakers,
                                  double seconds) const {
  if (quiet_) return;
  const std::string video = writer.is_sound_only ? "no video"
                            : writer.video_encoder.empty()
                                ? "video copied"
                                : "video encoded by " + writer.video_encoder;
  const bool tells_sound = !writer.sound_examined && writer.audio_frames_written > 0;
  const std::string chapters =
      writer.chapters_written == 0 ? "" : ", " + CountText(writer.chapters_written, "chapter");
  std::printf("%s: %s, %.1f MB, %s%s%s, in %.1f s\n", TerminalText(output_).c_str(),
              kxrtc_host::ClockText(writer.duration_us, 3).c_str(),
              static_cast<double>(writer.file_size) / 1e6, video.c_str(),
              tells_sound ? ", sound not examined" : "", chapters.c_str(), seconds);
  if (speakers.cues()) {
    std::printf("%s: %s\n", TerminalText(speakers.captions_path()).c_str(),
                CountText(*speakers.cues(), "caption").c_str());
  }
}

}  // namespace kxrtc_tool
