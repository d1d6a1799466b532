// Reads the boxes and sample tables of an MP4 file, independently of the library that wrote it.
#ifndef TESTS_TESTING_MP4_TABLES_H_
#define TESTS_TESTING_MP4_TABLES_H_

#include <cstdint>
#include <string>
#include <vector>

namespace kx_testing {

struct Mp4Track {
  std::string handler;  // "vide" or "soun".
  uint32_t ticks_per_second = 0;
  int64_t start_us = 0;                 // Where its edit list lets it begin in the movie.
  std::vector<uint32_t> durations;      // Of each sample, in ticks.
  std::vector<int32_t> offsets;         // From decoding to display, in ticks; empty: none.
  std::vector<uint32_t> sizes;          // Bytes.
  std::vector<uint64_t> chunk_offsets;  // Bytes from the start of the file.
  std::vector<uint32_t> key_samples;    // Counted from 1; empty: all.
  std::vector<int32_t> matrix;          // Nine numbers, of the track header.
  uint32_t width = 0;                   // Of the track header, pixels.
  uint32_t height = 0;

  // When sample `index`, counted from 0, is decoded: shown, if there are no offsets.
  int64_t TimeOfSampleUs(size_t index) const;
  int64_t EndUs() const { return TimeOfSampleUs(durations.size()); }
};

struct Mp4File {
  std::vector<std::string> boxes;  // Types of the top level, in file order.
  std::vector<Mp4Track> tracks;

  // The track of that handler; a test that asks for one that is not there fails.
  const Mp4Track& Track(const std::string& handler) const;
};

Mp4File ReadMp4(const std::string& path);

}  // namespace kx_testing

#endif  // TESTS_TESTING_MP4_TABLES_H_
