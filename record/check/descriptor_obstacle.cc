#include "record/check/descriptor_obstacle.h"

#include <algorithm>
#include <utility>

#include "kxrtc/recording/speaker_record_descriptor.h"
#include "record/check/descriptor_check.h"
#include "record/index/record_text.h"

namespace kxrtc_host {
namespace {

// Of a text in memory, padding included.
constexpr uint64_t kMaxPaddedBytes = 32 * 1024 * 1024;
constexpr size_t kPieceBytes = 64 * 1024;

// Every value of a JSON document comes with at least one of these, so they limit its memory.
bool BelongsToValue(char c) { return c == '[' || c == '{' || c == ',' || c == ':'; }

// Reads a text that ends at its first zero byte. False if it contains more than `max_values` or is
// larger than kMaxPaddedBytes.
bool ReadPadded(const ReadOnlyFile& file, uint64_t max_values, std::string* text) {
  uint64_t values = 0;
  std::string piece(kPieceBytes, '\0');
  for (uint64_t position = 0; position < file.size();) {
    piece.resize(file.Read(position, &piece[0], kPieceBytes));
    const size_t end = std::min(piece.size(), piece.find('\0'));
    text->append(piece, 0, end);
    values += static_cast<uint64_t>(std::count_if(
        piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(end), BelongsToValue));
    if (values > max_values || text->size() > kMaxPaddedBytes) return false;
    if (end < kPieceBytes) return true;
    position += end;
  }
  return true;
}

std::string ProblemOfPadded(const ReadOnlyFile& file, uint64_t sessions) {
  std::string text;
  // More than MaxDescriptorSize() has for its bytes of them.
  if (!ReadPadded(file, MaxDescriptorSize(sessions) / 8, &text)) {
    return CountText(file.size(), "byte") + " are too many for the sessions of this record";
  }
  kxrtc::SpeakerRecordDescReader reader;
  return reader.InitializeFromText(std::move(text)) ? "" : "the descriptor is not valid";
}

// What differs from the index is no problem.
std::string ProblemOf(const ReadOnlyFile& file, uint64_t sessions) {
  RecordSummary summary;
  summary.session_count = sessions;
  CheckDescriptor(file, &summary);
  for (const Finding& finding : summary.findings.Sorted()) {
    if (FindingCodeSeverity(finding.code) == Severity::kError) return finding.text;
  }
  return "";
}

}  // namespace

std::string DescriptorObstacle(const ReadOnlyFile& file, uint64_t sessions) {
  const std::string problem = file.size() > MaxDescriptorSize(sessions)
                                  ? ProblemOfPadded(file, sessions)
                                  : ProblemOf(file, sessions);
  if (problem.empty()) return "";
  return file.path() + ": " + problem +
         (file.has_read_error() ? "" : "; kxrtc repair makes a new descriptor");
}

}  // namespace kxrtc_host
