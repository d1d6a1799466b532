#include "record/speakers/chapters.h"

#include <algorithm>
#include <string>

#include "kxrtc/recording/peer_connection_conductor.h"
#include "record/speakers/utf8.h"

namespace kxrtc_host {
namespace {

bool IsShare(const SpeakerTurn& turn) {
  return turn.media_type == kxrtc::PeerConnectionConductor::kDesktop;
}

// A camera that is changed or turned off does not end the chapter of its person.
bool IsSameChapter(const SpeakerTurn& a, const SpeakerTurn& b) {
  return a.user_id == b.user_id && IsShare(a) == IsShare(b);
}

std::string TitleOf(const SpeakerTurn& turn, const PersonNames& names) {
  if (turn.user_id == 0) return "No video";
  const std::string mark = IsShare(turn) ? " (desktop share)" : "";
  return CutUtf8(names.NameOf(turn.user_id), kMaxChapterTitleBytes - mark.size()) + mark;
}

// Turns that are parts of one chapter become one.
std::vector<SpeakerTurn> Joined(const std::vector<SpeakerTurn>& turns) {
  std::vector<SpeakerTurn> joined;
  for (const SpeakerTurn& turn : turns) {
    if (!joined.empty() && IsSameChapter(joined.back(), turn)) {
      joined.back().end_us = turn.end_us;
    } else {
      joined.push_back(turn);
    }
  }
  return joined;
}

std::vector<SpeakerTurn> WithoutShort(const std::vector<SpeakerTurn>& turns, int64_t shortest_us) {
  std::vector<SpeakerTurn> kept;
  for (const SpeakerTurn& turn : turns) {
    if (turn.end_us - turn.start_us >= shortest_us) {
      kept.push_back(turn);
    } else if (!kept.empty()) {
      kept.back().end_us = turn.end_us;
    }
  }
  return kept;
}

}  // namespace

std::vector<Chapter> ChaptersOf(const std::vector<SpeakerTurn>& seen, const PersonNames& names,
                                int64_t shortest_us) {
  const std::vector<SpeakerTurn> all = Joined(seen);
  std::vector<SpeakerTurn> turns = Joined(WithoutShort(all, shortest_us));
  while (turns.size() > kMaxChapters) {
    shortest_us = std::max(2 * shortest_us, kDefaultShortestChapterUs);
    turns = Joined(WithoutShort(all, shortest_us));
  }
  if (turns.empty()) {
    // All are short. Whoever comes first gives the name.
    const auto first = std::find_if(seen.begin(), seen.end(),
                                    [](const SpeakerTurn& turn) { return turn.user_id != 0; });
    if (first != seen.end()) turns.push_back(*first);
  }
  const bool is_anybody_seen = std::any_of(
      turns.begin(), turns.end(), [](const SpeakerTurn& turn) { return turn.user_id != 0; });
  std::vector<Chapter> chapters;
  if (!is_anybody_seen) return chapters;
  for (const SpeakerTurn& turn : turns) {
    chapters.push_back({chapters.empty() ? 0 : turn.start_us, TitleOf(turn, names)});
  }
  return chapters;
}

}  // namespace kxrtc_host
