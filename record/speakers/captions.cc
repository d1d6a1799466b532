#include "record/speakers/captions.h"

#include "files/read_only_file.h"
#include "record/speakers/web_vtt.h"

namespace kxrtc_host {
namespace {

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

bool IsCaption(const SpeakerTurn& turn) { return HasWebVttDuration(turn.start_us, turn.end_us); }

bool IsWebVttFile(const std::string& path) {
  ReadOnlyFile file;
  std::string head(kWebVttSignature.size(), '\0');
  return file.Open(path) == ReadOnlyFile::State::kOpen &&
         file.Read(0, head.data(), head.size()) == head.size() && head == kWebVttSignature;
}

std::string WebVttCaptions(const std::vector<SpeakerTurn>& heard, const PersonNames& names) {
  std::string text = std::string(kWebVttSignature) + "\n";
  for (const SpeakerTurn& turn : heard) {
    const std::string name = Escaped(names.NameOf(turn.user_id));
    text +=
        "\n" + WebVttCueTimes(turn.start_us, turn.end_us) + "\n<v " + name + ">" + name + "</v>\n";
  }
  return text;
}

}  // namespace kxrtc_host
