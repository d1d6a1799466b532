#include "record/speakers/captions.h"

#include <cinttypes>
#include <string_view>

#include "files/read_only_file.h"
#include "record/index/record_text.h"

namespace kxrtc_host {
namespace {

constexpr std::string_view kSignature = "WEBVTT";
constexpr int64_t kUsPerMs = 1000;

// Two digits at least of hours, all others exactly.
std::string Timestamp(int64_t ms) {
  return Text("%02" PRId64 ":%02d:%02d.%03d", ms / 3600000, static_cast<int>(ms / 60000 % 60),
              static_cast<int>(ms / 1000 % 60), static_cast<int>(ms % 1000));
}

// A name as text of a cue and in its voice tag, neither of which may hold these characters.
std::string Escaped(const std::string& name) {
  std::string escaped;
  for (const char c : name) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

}  // namespace

bool IsCaption(const SpeakerTurn& turn) {
  return turn.end_us / kUsPerMs > turn.start_us / kUsPerMs;
}

bool IsWebVttFile(const std::string& path) {
  ReadOnlyFile file;
  std::string head(kSignature.size(), '\0');
  return file.Open(path) == ReadOnlyFile::State::kOpen &&
         file.Read(0, head.data(), head.size()) == head.size() && head == kSignature;
}

std::string WebVttCaptions(const std::vector<SpeakerTurn>& heard, const PersonNames& names) {
  std::string text = std::string(kSignature) + "\n";
  for (const SpeakerTurn& turn : heard) {
    const std::string name = Escaped(names.NameOf(turn.user_id));
    text += "\n" + Timestamp(turn.start_us / kUsPerMs) + " --> " +
            Timestamp(turn.end_us / kUsPerMs) + "\n<v " + name + ">" + name + "</v>\n";
  }
  return text;
}

}  // namespace kxrtc_host
