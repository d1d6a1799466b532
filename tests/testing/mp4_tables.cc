#include "tests/testing/mp4_tables.h"

#include <gtest/gtest.h>

#include <fstream>

namespace kx_testing {
namespace {

constexpr size_t kBoxHeader = 8;

// Part of the file's bytes, read big-endian.
class Bytes {
 public:
  Bytes(const std::string& text, size_t begin, size_t end)
      : text_(&text), begin_(begin), end_(end) {}

  uint64_t Number(size_t at, size_t size) const {
    uint64_t value = 0;
    for (size_t i = 0; i < size; ++i) {
      value = value << 8 | static_cast<uint8_t>(text_->at(begin_ + at + i));
    }
    return value;
  }
  uint32_t U32(size_t at) const { return static_cast<uint32_t>(Number(at, 4)); }
  uint64_t U64(size_t at) const { return Number(at, 8); }
  std::string Text(size_t at, size_t size) const { return text_->substr(begin_ + at, size); }
  size_t size() const { return end_ - begin_; }

  // The content of the first box of `type`, searched from `from` on; empty when there is none.
  Bytes Child(const std::string& type, size_t from = 0) const {
    for (size_t at = from; at + kBoxHeader <= size();) {
      const size_t box_size = U32(at);
      if (box_size < kBoxHeader) break;
      if (Text(at + 4, 4) == type)
        return {*text_, begin_ + at + kBoxHeader, begin_ + at + box_size};
      at += box_size;
    }
    return {*text_, end_, end_};
  }

  std::vector<Bytes> Children(const std::string& type) const {
    std::vector<Bytes> found;
    for (size_t at = 0; at + kBoxHeader <= size() && U32(at) >= kBoxHeader; at += U32(at)) {
      if (Text(at + 4, 4) == type) {
        found.emplace_back(*text_, begin_ + at + kBoxHeader, begin_ + at + U32(at));
      }
    }
    return found;
  }

 private:
  const std::string* text_;
  size_t begin_;
  size_t end_;
};

int64_t StartUs(const Bytes& edits, uint32_t movie_ticks) {
  // Version 0: a leading entry with media time -1 keeps the track back.
  const bool is_long = edits.size() > 0 && edits.Number(0, 1) == 1;
  if (edits.size() < 20) return 0;
  const int64_t duration = static_cast<int64_t>(is_long ? edits.U64(8) : edits.U32(8));
  const auto media_time =
      is_long ? static_cast<int64_t>(edits.U64(16)) : static_cast<int32_t>(edits.U32(12));
  return media_time == -1 ? duration * 1000000 / movie_ticks : 0;
}

void ReadTables(const Bytes& stbl, Mp4Track* track) {
  const Bytes stts = stbl.Child("stts");
  for (uint32_t i = 0; i < stts.U32(4); ++i) {
    track->durations.insert(track->durations.end(), stts.U32(8 + i * 8), stts.U32(12 + i * 8));
  }
  const Bytes ctts = stbl.Child("ctts");
  for (uint32_t i = 0; ctts.size() > 0 && i < ctts.U32(4); ++i) {
    track->offsets.insert(track->offsets.end(), ctts.U32(8 + i * 8),
                          static_cast<int32_t>(ctts.U32(12 + i * 8)));
  }
  const Bytes stsz = stbl.Child("stsz");
  for (uint32_t i = 0; i < stsz.U32(8); ++i) {
    track->sizes.push_back(stsz.U32(4) != 0 ? stsz.U32(4) : stsz.U32(12 + i * 4));
  }
  const Bytes stco = stbl.Child("stco");
  const Bytes co64 = stbl.Child("co64");
  if (stco.size() > 0) {
    for (uint32_t i = 0; i < stco.U32(4); ++i) track->chunk_offsets.push_back(stco.U32(8 + i * 4));
  } else {
    for (uint32_t i = 0; i < co64.U32(4); ++i) track->chunk_offsets.push_back(co64.U64(8 + i * 8));
  }
  const Bytes stss = stbl.Child("stss");
  for (uint32_t i = 0; stss.size() > 0 && i < stss.U32(4); ++i) {
    track->key_samples.push_back(stss.U32(8 + i * 4));
  }
}

Mp4Track ReadTrack(const Bytes& trak, uint32_t movie_ticks) {
  Mp4Track track;
  const Bytes mdia = trak.Child("mdia");
  track.handler = mdia.Child("hdlr").Text(8, 4);
  const Bytes mdhd = mdia.Child("mdhd");
  track.ticks_per_second = mdhd.Number(0, 1) == 1 ? mdhd.U32(20) : mdhd.U32(12);
  const Bytes tkhd = trak.Child("tkhd");
  const size_t matrix = tkhd.Number(0, 1) == 1 ? 52 : 40;
  for (size_t i = 0; i < 9; ++i) {
    track.matrix.push_back(static_cast<int32_t>(tkhd.U32(matrix + i * 4)));
  }
  track.width = tkhd.U32(matrix + 36) >> 16;
  track.height = tkhd.U32(matrix + 40) >> 16;
  track.start_us = StartUs(trak.Child("edts").Child("elst"), movie_ticks);
  ReadTables(mdia.Child("minf").Child("stbl"), &track);
  return track;
}

// The top-level boxes, the content of the index kept, without reading the samples.
std::string ReadIndex(const std::string& path, std::vector<std::string>* boxes) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  std::string index;
  char header[16];
  while (file.read(header, kBoxHeader)) {
    const std::string text(header, sizeof(header));
    uint64_t size = Bytes(text, 0, kBoxHeader).U32(0);
    uint64_t header_size = kBoxHeader;
    boxes->emplace_back(header + 4, 4);
    if (size == 1 && file.read(header, 8)) {
      size = Bytes(std::string(header, 8), 0, 8).U64(0);
      header_size = 16;
    }
    if (size < header_size) break;
    if (boxes->back() == "moov") {
      index.resize(size - header_size);
      file.read(index.data(), static_cast<std::streamsize>(index.size()));
    } else {
      file.seekg(static_cast<std::streamoff>(size - header_size), std::ios::cur);
    }
  }
  return index;
}

}  // namespace

int64_t Mp4Track::TimeOfSampleUs(size_t index) const {
  uint64_t ticks = 0;
  for (size_t i = 0; i < index; ++i) ticks += durations[i];
  const uint64_t whole = ticks / ticks_per_second;
  const uint64_t rest = ticks % ticks_per_second;
  return start_us + static_cast<int64_t>(whole * 1000000 + (rest * 1000000 + ticks_per_second / 2) /
                                                               ticks_per_second);
}

const Mp4Track& Mp4File::Track(const std::string& handler) const {
  for (const Mp4Track& track : tracks) {
    if (track.handler == handler) return track;
  }
  ADD_FAILURE() << "no track " << handler;
  static const Mp4Track none;
  return none;
}

Mp4File ReadMp4(const std::string& path) {
  Mp4File file;
  const std::string index = ReadIndex(path, &file.boxes);
  const Bytes moov(index, 0, index.size());
  const Bytes mvhd = moov.Child("mvhd");
  if (mvhd.size() == 0) return file;
  const uint32_t movie_ticks = mvhd.Number(0, 1) == 1 ? mvhd.U32(20) : mvhd.U32(12);
  for (const Bytes& trak : moov.Children("trak"))
    file.tracks.push_back(ReadTrack(trak, movie_ticks));
  return file;
}

}  // namespace kx_testing
