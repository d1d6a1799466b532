#include "host/result/mp4_mark.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

#include "files/byte_digest.h"
#include "files/read_only_file.h"

namespace kxrtc_host {
namespace {

// The box: its header, the type of the mark, the size of the file before the box, the digest of the
// file's index, the origin.
constexpr size_t kHeaderBytes = 8;
constexpr char kMarkType[] = "kxrtc result 01.";
constexpr size_t kTypeBytes = sizeof(kMarkType) - 1;
constexpr size_t kNumberBytes = 8;
constexpr size_t kOriginAt = kHeaderBytes + kTypeBytes + 2 * kNumberBytes;
constexpr uint64_t kMaxMarkBytes = 64 * 1024;
constexpr uint64_t kMaxIndexBytes = uint64_t{1} << 31;  // libavformat writes none that is larger.

static_assert(kTypeBytes == 16, "the type of a uuid box has 16 bytes");

void AppendNumber(uint64_t value, size_t bytes, std::string* text) {
  for (size_t i = bytes; i-- > 0;) *text += static_cast<char>(value >> 8 * i);
}

uint64_t NumberAt(const std::string& bytes, size_t at) {
  uint64_t value = 0;
  for (size_t i = 0; i < kNumberBytes; ++i)
    value = value << 8 | static_cast<uint8_t>(bytes[at + i]);
  return value;
}

// Of the index of a file that has `size` bytes.
std::optional<uint64_t> IndexDigest(const Mp4Reader& read, uint64_t size) {
  constexpr uint64_t kPiece = 256 * 1024;
  Mp4Box index = {0, size};
  if (!FindMp4Box(read, "moov", &index) || index.end - index.begin > kMaxIndexBytes) {
    return std::nullopt;
  }
  ByteDigest digest;
  std::vector<uint8_t> piece(kPiece);
  for (uint64_t at = index.begin; at < index.end; at += kPiece) {
    const uint64_t bytes = std::min(kPiece, index.end - at);
    if (!read(at, piece.data(), bytes)) return std::nullopt;
    digest.Add(piece.data(), bytes);
  }
  return digest.value();
}

}  // namespace

bool MakeMp4Mark(const Mp4Reader& read, uint64_t size, const std::string& origin,
                 std::string* mark) {
  const std::optional<uint64_t> digest = IndexDigest(read, size);
  if (!digest) return false;
  mark->clear();
  AppendNumber(kOriginAt + origin.size(), 4, mark);
  *mark += "uuid";
  *mark += kMarkType;
  AppendNumber(size, kNumberBytes, mark);
  AppendNumber(*digest, kNumberBytes, mark);
  *mark += origin;
  return true;
}

Mp4MarkState ReadMp4Mark(const std::string& path, std::string* origin, Mp4MarkCheck check) {
  ReadOnlyFile file;
  if (file.Open(path) != ReadOnlyFile::State::kOpen) return Mp4MarkState::kNoFile;
  const Mp4Reader read = [&file](uint64_t position, void* buffer, uint64_t size) {
    return file.Read(position, buffer, size) == size;
  };
  Mp4Box box = {0, file.size()};
  if (!FindMp4Box(read, "uuid", &box)) return Mp4MarkState::kNone;
  const uint64_t start = box.begin - kHeaderBytes;
  const uint64_t bytes = box.end - start;
  if (bytes < kOriginAt || bytes > kMaxMarkBytes) return Mp4MarkState::kNone;
  std::string mark(bytes, '\0');
  if (!read(start, mark.data(), bytes) || mark.compare(kHeaderBytes, kTypeBytes, kMarkType) != 0) {
    return Mp4MarkState::kNone;
  }
  *origin = mark.substr(kOriginAt);
  const bool is_intact =
      box.end == file.size() && NumberAt(mark, kHeaderBytes + kTypeBytes) == start &&
      (check == Mp4MarkCheck::kSize ||
       IndexDigest(read, start) == NumberAt(mark, kHeaderBytes + kTypeBytes + kNumberBytes));
  return is_intact ? Mp4MarkState::kIntact : Mp4MarkState::kChanged;
}

}  // namespace kxrtc_host
