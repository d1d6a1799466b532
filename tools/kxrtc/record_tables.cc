#include "tools/kxrtc/record_tables.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <string>
#include <vector>

#include "record/index/record_text.h"
#include "record/speakers/talk_share.h"
#include "record/speakers/timeline_entry.h"
#include "record/timing/time_text.h"
#include "tools/kxrtc/terminal_colour.h"
#include "tools/kxrtc/terminal_text.h"

namespace kxrtc_tool {
namespace {

using kxrtc_host::BytesText;
using kxrtc_host::CountText;
using kxrtc_host::SecondsText;

constexpr size_t kMaxRows = 50;  // Of one table; --json has the rest.

// In a column of its own.
std::string ShownSeverity(kxrtc_host::FindingCode code) {
  const kxrtc_host::Severity severity = kxrtc_host::FindingCodeSeverity(code);
  const std::string column = kxrtc_host::Text("%-7s", SeverityName(severity));
  if (severity == kxrtc_host::Severity::kError) return Coloured(Colour::kRed, column);
  return severity == kxrtc_host::Severity::kWarning ? Coloured(Colour::kYellow, column) : column;
}

void PrintRest(uint64_t count) {
  if (count > kMaxRows) std::printf("  ... and %" PRIu64 " more\n", count - kMaxRows);
}

std::string ProfileText(uint32_t profile_idc) {
  switch (profile_idc) {
    case 66:
      return "Baseline";
    case 77:
      return "Main";
    case 88:
      return "Extended";
    case 100:
      return "High";
    default:
      return "profile " + std::to_string(profile_idc);
  }
}

void PrintSessions(const kxrtc_host::RecordSummary& summary) {
  std::printf("\n%8s  %18s  %18s  %8s  %8s  %8s  %s\n", "SESSION", "START", "END", "VIDEO", "AUDIO",
              "SWITCHES", "ENDED");
  size_t row = 0;
  for (const kxrtc_host::SessionSummary& session : summary.sessions) {
    if (++row > kMaxRows) break;
    std::printf("%8zu  %18s  %18s  %8" PRIu64 "  %8" PRIu64 "  %8u  %s\n", row,
                SecondsText(session.start_us).c_str(), SecondsText(session.end_us).c_str(),
                session.video_frames, session.audio_frames, session.switches,
                session.closed ? "yes" : "no stop record");
  }
  PrintRest(summary.session_count);
}

void PrintChannels(const kxrtc_host::RecordSummary& summary) {
  std::printf("\n%-16s  %8s  %18s  %8s  %10s\n", "CHANNEL", "SWITCHES", "TIME", "FRAMES", "BYTES");
  size_t row = 0;
  for (const auto& [media_type, totals] : summary.channels) {
    if (++row > kMaxRows) break;
    std::printf("%-16s  %8" PRIu64 "  %18s  %8" PRIu64 "  %10s\n",
                kxrtc_host::MediaTypeText(media_type).c_str(), totals.switches,
                SecondsText(totals.duration_us).c_str(), totals.video_frames,
                BytesText(totals.video_bytes).c_str());
  }
  PrintRest(summary.channels.size());
}

void PrintSwitches(const kxrtc_host::RecordSummary& summary) {
  if (summary.switches.empty()) return;
  std::printf("\n%18s  %s\n", "SWITCH AT", "TO");
  size_t row = 0;
  for (const kxrtc_host::ChannelSwitch& change : summary.switches) {
    if (++row > kMaxRows) break;
    std::printf("%18s  %s\n", SecondsText(change.time_us).c_str(),
                kxrtc_host::MediaTypeText(change.media_type).c_str());
  }
  PrintRest(summary.switch_count);
}

void PrintFormats(const kxrtc_host::RecordSummary& summary) {
  std::printf("\nvideo      ");
  if (summary.video_formats.empty()) std::printf("no sequence parameter set");
  const char* separator = "";
  for (const auto& [format, count] : summary.video_formats) {
    (void)count;
    std::printf("%s%ux%u %s level %u.%u", separator, format.width, format.height,
                ProfileText(format.profile_idc).c_str(), format.level_idc / 10,
                format.level_idc % 10);
    separator = ", ";
  }
  std::printf("\naudio      ");
  if (summary.audio.is_adts) {
    std::printf("AAC (object type %u), %u Hz, %s", summary.audio.object_type,
                summary.audio.sample_rate, CountText(summary.audio.channels, "channel").c_str());
  } else {
    std::printf(summary.totals.audio_frames == 0 ? "none" : "without ADTS header");
  }
  if (summary.descriptor.audio_channel_count) {
    std::printf(", descriptor says %s",
                CountText(*summary.descriptor.audio_channel_count, "channel").c_str());
  }
  std::printf("\n");
}

void PrintEstimate(const kxrtc_host::RecordSummary& summary) {
  if (!summary.descriptor.parsed) {
    std::printf("MP4        of unknown size: the descriptor is missing or not valid\n");
  } else if (summary.estimate_bytes == 0) {
    std::printf("MP4        of unknown size: there is no sound to estimate it by\n");
  } else {
    std::printf("MP4        about %s (%s)\n", CountText(summary.estimate_bytes, "byte").c_str(),
                BytesText(summary.estimate_bytes).c_str());
  }
}

// ", without 3 video frames and 1 audio frame"; empty if none is left out.
std::string WithoutText(const kxrtc_host::RepairResult& result) {
  std::string text;
  if (result.lost_video_frames > 0) text = CountText(result.lost_video_frames, "video frame");
  if (result.lost_audio_frames > 0) {
    text += (text.empty() ? "" : " and ") + CountText(result.lost_audio_frames, "audio frame");
  }
  return text.empty() ? "" : ", without " + text;
}

// The command that makes a whole record of a damaged one, and what that keeps.
std::string RepairStep(const std::string& folder, const kxrtc_host::RepairResult& preview) {
  if (!preview.repaired && !preview.lacks_channels) return "";
  return "kxrtc repair " + folder + " NEW_DIR" + (preview.lacks_channels ? " --channels N" : "") +
         " keeps " + SecondsText(preview.kept.recorded_us) + " of " +
         SecondsText(preview.recorded_us) + WithoutText(preview) +
         "; then kxrtc transcode NEW_DIR OUT.mp4";
}

// What to do about a record; empty if there is nothing.
std::string NextStep(const kxrtc_host::RecordSummary& summary,
                     const std::optional<kxrtc_host::RepairResult>& preview) {
  if (preview) return RepairStep(summary.folder, *preview);
  if (summary.replay.encode.kind == kxrtc_host::TranscodeKind::kWritten) {
    return "kxrtc transcode " + summary.folder + " OUT.mp4";
  }
  return "";
}

std::string HeadlineOf(const kxrtc_host::ModePrediction& mode) {
  switch (mode.kind) {
    case kxrtc_host::TranscodeKind::kWritten:
      return "complete";
    case kxrtc_host::TranscodeKind::kWrittenInPart:
      return "incomplete: " + mode.text;
    default:
      return "not possible: " + mode.text;
  }
}

void PrintContents(const char* name, const kxrtc_host::ModePrediction& mode) {
  const kxrtc_host::FileContents& contents = mode.contents;
  if (contents.video_samples + contents.audio_frames == 0) return;
  std::printf("  %-6s  %s, %s, %s\n", name, SecondsText(contents.duration_us).c_str(),
              CountText(contents.video_samples, "picture").c_str(),
              CountText(contents.audio_frames, "audio frame").c_str());
}

}  // namespace

void PrintInfo(const kxrtc_host::RecordSummary& summary) {
  std::printf("record     %s\n", TerminalText(summary.folder).c_str());
  std::printf("duration   %s in %s\n", SecondsText(summary.duration_us).c_str(),
              CountText(summary.session_count, "session").c_str());
  std::printf("recorded   %s of sound or pictures\n", SecondsText(summary.recorded_us).c_str());
  std::printf("frames     %" PRIu64 " video (%" PRIu64 " key), %" PRIu64 " audio\n",
              summary.totals.video_frames, summary.totals.key_frames, summary.totals.audio_frames);
  std::printf("files      .index %" PRIu64 ", .264 %" PRIu64 ", .aac %" PRIu64 ", .desc %" PRIu64
              " bytes\n",
              summary.sizes.index, summary.sizes.video, summary.sizes.audio,
              summary.sizes.descriptor);
  PrintEstimate(summary);
  const uint64_t errors = summary.findings.count(kxrtc_host::Severity::kError);
  const uint64_t warnings = summary.findings.count(kxrtc_host::Severity::kWarning);
  if (errors + warnings > 0) {
    std::printf("findings   %s, %s (kxrtc verify lists them)\n", CountText(errors, "error").c_str(),
                CountText(warnings, "warning").c_str());
  }
  PrintFormats(summary);
  PrintSessions(summary);
  PrintChannels(summary);
  PrintSwitches(summary);
}

void PrintSpeakerTimeline(const kxrtc_host::SpeakerTimeline& timeline) {
  if (!timeline.exists) return;
  if (!timeline.problem.empty()) {
    std::printf("\npeople     unknown: %s\n", TerminalText(timeline.problem).c_str());
    return;
  }
  std::printf("\n");
  if (!timeline.title.empty()) std::printf("title      %s\n", TerminalText(timeline.title).c_str());
  if (!timeline.sessions.empty()) {
    std::printf("started    %s\n", kxrtc_host::UtcText(timeline.sessions.front().utc_us).c_str());
  }
  if (timeline.damaged_lines > 0) {
    std::printf("damaged    %s of the speaker timeline, passed over\n",
                CountText(timeline.damaged_lines, "line").c_str());
  }
  const std::vector<double> shares = kxrtc_host::TalkShares(timeline.people);
  std::printf("%18s  %5s  %8s  %18s  %s\n", "HEARD", "SHARE", "TURNS", "SEEN", "PERSON");
  for (size_t i = 0; i < std::min(kMaxRows, timeline.people.size()); ++i) {
    const kxrtc_host::Person& person = timeline.people[i];
    std::printf("%18s  %4.0f%%  %8" PRIu64 "  %18s  %s\n", SecondsText(person.heard_us).c_str(),
                shares[i], person.turns, SecondsText(person.seen_us).c_str(),
                TerminalText(person.name).c_str());
  }
  PrintRest(timeline.people.size());
}

void PrintFindings(const kxrtc_host::FindingList& findings) {
  for (const kxrtc_host::Finding& finding : findings.Sorted()) {
    std::printf("%s  %-28s  %18s  %s\n", ShownSeverity(finding.code).c_str(),
                FindingCodeName(finding.code),
                finding.time_us ? SecondsText(*finding.time_us).c_str() : "-",
                TerminalText(finding.text).c_str());
  }
  for (size_t i = 0; i < kxrtc_host::kFindingCodeCount; ++i) {
    const auto code = static_cast<kxrtc_host::FindingCode>(i);
    if (findings.count(code) <= kxrtc_host::FindingList::kKeptPerCode) continue;
    std::printf("%s  %-28s  %18s  %" PRIu64 " in all\n", ShownSeverity(code).c_str(),
                FindingCodeName(code), "...", findings.count(code));
  }
}

void PrintReplay(const kxrtc_host::RecordSummary& summary,
                 const std::optional<kxrtc_host::RepairResult>& preview) {
  const kxrtc_host::ReplayPrediction& replay = summary.replay;
  std::printf("\nMP4: %s\n", TerminalText(HeadlineOf(replay.encode)).c_str());
  if (replay.copy.kind != replay.encode.kind) {
    std::printf("  with --video copy: %s\n", TerminalText(HeadlineOf(replay.copy)).c_str());
  }
  PrintContents("encode", replay.encode);
  PrintContents("copy", replay.copy);
  std::printf("  icon shown for %s, %s dropped, pictures at most %s late\n",
              SecondsText(replay.filler_us).c_str(),
              CountText(replay.dropped_frames, "delta frame").c_str(),
              SecondsText(replay.largest_offset_us).c_str());
  if (replay.still_share_us > 0) {
    std::printf("  copied video shows the icon for %s more, where a desktop share stands still\n",
                SecondsText(replay.still_share_us).c_str());
  }
  if (summary.index_records > 0 && replay.audio_samples == 0) {
    std::printf("  the record contains no sound\n");
  }
  if (const std::string next = NextStep(summary, preview); !next.empty()) {
    std::printf("  next: %s\n", TerminalText(next).c_str());
  }
}

void PrintRepair(const kxrtc_host::RepairResult& result) {
  const uint64_t changes = result.changes.changes;
  if (changes > 0) {
    std::printf("%-6s  %12s  %18s  %s\n", "CHANGE", "OFFSET", "RECORDER TIME", "WHAT");
  }
  for (const kxrtc_host::RepairChange& change : result.changes.kept) {
    std::printf("%-6s  %12" PRIu64 "  %18s  %s\n", RepairChangeName(change.kind), change.offset,
                change.time_us ? SecondsText(*change.time_us).c_str() : "-",
                TerminalText(change.text).c_str());
  }
  if (changes > result.changes.kept.size()) {
    std::printf("... and %" PRIu64 " more\n", changes - result.changes.kept.size());
  }
  if (changes == 0) std::printf("index and data were valid: they are copied unchanged\n");
  std::printf(
      "kept %s, %s, %s (%s), %s (%s), %s of %s\n", CountText(result.sessions, "session").c_str(),
      CountText(result.kept.records, "index record").c_str(),
      CountText(result.kept.video_frames, "video frame").c_str(),
      BytesText(result.kept.video_end).c_str(),
      CountText(result.kept.audio_frames, "audio frame").c_str(),
      BytesText(result.kept.audio_end).c_str(), SecondsText(result.kept.recorded_us).c_str(),
      SecondsText(result.recorded_us).c_str());
  std::printf("lost %" PRIu64 ", added %" PRIu64 ", moved %" PRIu64 ", %s (from the %s)\n",
              result.changes.lost, result.changes.added, result.changes.moved,
              CountText(result.audio_channels, "audio channel").c_str(),
              ChannelSourceName(result.channel_source));
}

}  // namespace kxrtc_tool
