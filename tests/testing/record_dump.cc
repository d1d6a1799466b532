#include "tests/testing/record_dump.h"

#include <algorithm>
#include <cstdint>

#include "tests/testing/record_builder.h"
#include "tests/testing/temp_dir.h"

namespace kx_testing {
namespace {

constexpr size_t kHeaderSize = 12;

uint64_t BigEndian(const std::string& bytes, size_t at, size_t width) {
  uint64_t value = 0;
  for (size_t i = 0; i < width; ++i) value = value << 8 | static_cast<uint8_t>(bytes[at + i]);
  return value;
}

// The payload's size; -1 for a type that no record has.
int PayloadSize(uint64_t type) {
  switch (type) {
    case kStartRecord:
    case kStopRecord:
      return 0;
    case kChannelRecord:
      return 4;
    case kAttributesRecord:
    case kVideoRecord:
    case kAudioRecord:
      return 12;
    default:
      return -1;
  }
}

std::string Frame(const std::string& index, size_t at, const std::string& file) {
  const uint64_t position = BigEndian(index, at, 8);
  const uint64_t size = BigEndian(index, at + 8, 4);
  if (position > file.size() || size > file.size() - position) return "outside";
  return file.substr(position, size);
}

// A record, with a frame as a place in its file.
std::string Event(const std::string& index, uint64_t type, size_t payload) {
  const auto number = [&](size_t at, size_t width) {
    return std::to_string(BigEndian(index, payload + at, width));
  };
  switch (type) {
    case kStartRecord:
      return "start";
    case kStopRecord:
      return "stop";
    case kChannelRecord:
      return "channel " + number(0, 4);
    case kAttributesRecord:
      return "attributes " + number(4, 4) + "x" + number(8, 4) + " r" + number(0, 4);
    default:
      return (type == kVideoRecord ? "video " : "audio ") + number(0, 8) + "+" + number(8, 4);
  }
}

}  // namespace

std::vector<std::string> DumpIndex(const std::string& index, const std::string& video,
                                   const std::string& audio) {
  std::vector<std::string> lines;
  size_t at = 0;
  while (at < index.size()) {
    const std::string rest = "rest of " + std::to_string(index.size() - at) + " bytes";
    if (index.size() - at < kHeaderSize) return lines.push_back(rest), lines;
    const uint64_t type = BigEndian(index, at, 4);
    const int payload_size = PayloadSize(type);
    if (payload_size < 0) return lines.push_back("type " + std::to_string(type)), lines;
    const size_t payload = at + kHeaderSize;
    if (index.size() - payload < static_cast<size_t>(payload_size)) {
      return lines.push_back(rest), lines;
    }
    std::string line = Event(index, type, payload);
    if (type == kVideoRecord) line = "video " + Frame(index, payload, video);
    if (type == kAudioRecord) line = "audio " + Frame(index, payload, audio);
    lines.push_back(line);
    at = payload + static_cast<size_t>(payload_size);
  }
  return lines;
}

std::vector<std::string> DumpPlaces(const std::string& index) {
  std::vector<std::string> lines;
  size_t at = 0;
  for (const long long time : DumpTimes(index)) {
    const uint64_t type = BigEndian(index, at, 4);
    lines.push_back(Event(index, type, at + kHeaderSize) + " @" + std::to_string(time));
    at += kHeaderSize + static_cast<size_t>(PayloadSize(type));
  }
  return lines;
}

std::vector<std::string> DumpRecord(const std::string& folder) {
  return DumpIndex(ReadFile(folder + "SpeakeRecord.index"), ReadFile(folder + "SpeakeRecord.264"),
                   ReadFile(folder + "SpeakeRecord.aac"));
}

std::vector<long long> DumpTimes(const std::string& index) {
  std::vector<long long> times;
  size_t at = 0;
  while (index.size() - at >= kHeaderSize) {
    const int payload_size = PayloadSize(BigEndian(index, at, 4));
    if (payload_size < 0 || index.size() - at - kHeaderSize < static_cast<size_t>(payload_size)) {
      break;
    }
    times.push_back(static_cast<long long>(BigEndian(index, at + 4, 8)));
    at += kHeaderSize + static_cast<size_t>(payload_size);
  }
  return times;
}

bool IsSubsequence(const std::vector<std::string>& lines, const std::vector<std::string>& whole) {
  auto next = whole.begin();
  for (const std::string& line : lines) {
    next = std::find(next, whole.end(), line);
    if (next == whole.end()) return false;
    ++next;
  }
  return true;
}

}  // namespace kx_testing
