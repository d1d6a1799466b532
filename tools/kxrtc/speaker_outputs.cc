#include "tools/kxrtc/speaker_outputs.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "files/link_target.h"
#include "record/index/record_text.h"
#include "record/parts/kept_parts.h"
#include "record/speakers/captions.h"
#include "record/speakers/person_names.h"
#include "record/timing/file_timeline.h"
#include "tools/kxrtc/path_options.h"

namespace kxrtc_tool {

using kxrtc_host::ByCount;
using kxrtc_host::CountText;
using kxrtc_host::FileTimeOf;
using kxrtc_host::PersonNames;
using kxrtc_host::SpeakerTurn;

void SpeakerOutputs::Read(const std::string& folder) {
  if (options_.chapters || options_.metadata || !options_.captions.empty()) {
    turns_ = kxrtc_host::ReadSpeakerTurns(folder);
  }
}

// Captions come after their MP4: older ones are those of an MP4 that was there before.
bool SpeakerOutputs::LacksCaptions(const std::string& output) const {
  if (options_.captions.empty()) return false;
  std::error_code ignored;
  return !kxrtc_host::IsWebVttFile(options_.captions) ||
         std::filesystem::last_write_time(options_.captions, ignored) <
             std::filesystem::last_write_time(output, ignored);
}

std::string SpeakerOutputs::OpenCaptions(const std::string& folder, const std::string& output,
                                         Replace what, kxrtc_host::IsWanted is_wanted) {
  if (options_.captions.empty()) return "";
  const std::string conflict = ConflictWithRecord(folder, options_.captions);
  if (!conflict.empty()) return options_.captions + conflict;
  if (kxrtc_host::LeadToSameFile(options_.captions, output)) {
    return options_.captions + " is also given as OUT.mp4";
  }
  const bool replace = what == Replace::kAnything ||
                       (what == Replace::kCaptions && kxrtc_host::IsWebVttFile(options_.captions));
  captions_.set_is_wanted(std::move(is_wanted));
  if (captions_.Open(options_.captions, replace)) return "";
  return captions_.error_text() + HintAtForce(options_.captions, replace);
}

bool SpeakerOutputs::WriteCaptions(const kxrtc_host::Mp4WriterStatus& writer, bool sync) {
  if (options_.captions.empty()) return true;
  const kxrtc_host::KeptParts parts(writer.parts);
  std::vector<SpeakerTurn> cues;
  for (SpeakerTurn turn : turns_.heard) {
    turn.start_us = parts.FileTime(FileTimeOf(turn.start_us, writer.start_us));
    turn.end_us =
        std::min(parts.FileTime(FileTimeOf(turn.end_us, writer.start_us)), writer.duration_us);
    if (kxrtc_host::IsCaption(turn)) cues.push_back(turn);
  }
  const std::string text = kxrtc_host::WebVttCaptions(cues, PersonNames(turns_.timeline.people));
  if (!captions_.WriteAt(0, text.data(), text.size()) || !captions_.Commit(sync)) return false;
  cues_ = cues.size();
  return true;
}

kxrtc_host::Mp4Tags SpeakerOutputs::Tags() const {
  kxrtc_host::Mp4Tags tags;
  const kxrtc_host::SpeakerTimeline& timeline = turns_.timeline;
  if (options_.metadata) {
    tags.title = timeline.title;
    if (!timeline.sessions.empty() && kxrtc_host::IsMp4Time(timeline.sessions.front().utc_us)) {
      tags.created_us = timeline.sessions.front().utc_us;
    }
  }
  if (options_.chapters) {
    tags.chapters = kxrtc_host::ChaptersOf(turns_.seen, PersonNames(timeline.people),
                                           options_.shortest_chapter_us);
  }
  return tags;
}

std::vector<std::string> SpeakerOutputs::Warnings() const {
  std::vector<std::string> warnings;
  const kxrtc_host::SpeakerTimeline& timeline = turns_.timeline;
  if (!timeline.problem.empty()) {
    warnings.push_back(timeline.problem + "; the MP4 is made without it");
  }
  if (timeline.damaged_lines > 0) {
    warnings.push_back(CountText(timeline.damaged_lines, "line") + " of the speaker timeline" +
                       ByCount(timeline.damaged_lines, " is", " are") +
                       " damaged; chapters and captions may lack something");
  }
  if (!options_.captions.empty() && !timeline.exists) {
    warnings.push_back("the record has no speaker timeline, so " + options_.captions +
                       " contains no captions");
  }
  return warnings;
}

}  // namespace kxrtc_tool
