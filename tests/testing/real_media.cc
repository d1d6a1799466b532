#include "tests/testing/real_media.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>

#include "tests/testing/shell.h"
#include "tests/testing/temp_dir.h"

namespace kx_testing {
namespace {

constexpr size_t kAdtsHeaderSize = 7;
constexpr uint8_t kSlice = 1;
constexpr uint8_t kIdrSlice = 5;

// What `command` prints, made once for each command and build tree.
std::string Cached(const std::string& name, const std::string& command) {
  const std::filesystem::path folder = KX_TEST_MEDIA_FOLDER;
  std::filesystem::create_directories(folder);
  const std::string key = std::to_string(std::hash<std::string>()(command));
  const std::filesystem::path file = folder / (name + "-" + key);
  if (!std::filesystem::exists(file)) {
    const ShellResult made = RunShell(command);
    EXPECT_EQ(made.exit_status, 0) << command << "\n" << made.errors;
    if (made.exit_status != 0) return "";
    // Tests run side by side: the name appears with the whole content only.
    const std::string own_name = file.string() + "." + std::to_string(getpid());
    WriteFile(own_name, made.output);
    std::filesystem::rename(own_name, file);
  }
  return ReadFile(file.string());
}

// Positions of the NAL units of `stream`, start codes included; the end of the stream last.
std::vector<size_t> NalPositions(const std::string& stream) {
  const std::string start_code("\0\0\1", 3);
  std::vector<size_t> positions;
  for (size_t at = stream.find(start_code); at != std::string::npos;
       at = stream.find(start_code, at + 3)) {
    positions.push_back(at > 0 && stream[at - 1] == 0 ? at - 1 : at);
  }
  positions.push_back(stream.size());
  return positions;
}

uint8_t HeaderAt(const std::string& stream, size_t nal) {
  return static_cast<uint8_t>(stream[stream[nal + 2] == 1 ? nal + 3 : nal + 4]);
}

// A slice that begins a picture has first_mb_in_slice 0, the single bit 1 (ITU-T H.264, 7.3.3).
bool BeginsPicture(const std::string& stream, size_t nal) {
  const size_t header = stream[nal + 2] == 1 ? nal + 3 : nal + 4;
  return (static_cast<uint8_t>(stream[header + 1]) & 0x80) != 0;
}

std::vector<std::string> SplitPictures(const std::string& stream) {
  std::vector<std::string> pictures;
  const std::vector<size_t> nals = NalPositions(stream);
  std::string picture;
  bool has_slice = false;
  for (size_t i = 0; i + 1 < nals.size(); ++i) {
    const uint8_t type = HeaderAt(stream, nals[i]) & 0x1F;
    const bool is_slice = type == kSlice || type == kIdrSlice;
    if (has_slice && (!is_slice || BeginsPicture(stream, nals[i]))) {
      pictures.push_back(std::move(picture));
      picture.clear();
      has_slice = false;
    }
    picture += stream.substr(nals[i], nals[i + 1] - nals[i]);
    has_slice |= is_slice;
  }
  if (has_slice) pictures.push_back(std::move(picture));
  return pictures;
}

}  // namespace

std::vector<std::string> MakeVideo(const VideoSpec& spec) {
  const std::string size = std::to_string(spec.width) + "x" + std::to_string(spec.height);
  const std::string seconds = std::to_string(spec.frames / 24.0);
  const std::string command =
      "ffmpeg -nostdin -v error -f lavfi -i " +
      Quoted("testsrc=s=" + size + ":r=24:d=" + seconds + ",drawbox=c=" + spec.colour +
             ":t=fill:w=iw/2:h=ih/2") +
      " -frames:v " + std::to_string(spec.frames) + " -c:v libx264 -pix_fmt yuv420p -preset " +
      "ultrafast -profile:v " + spec.profile + " -x264-params " +
      Quoted("bframes=" + std::to_string(spec.b_frames) +
             ":b-adapt=0:threads=1:sliced-threads=0:slices=" + std::to_string(spec.slices) +
             ":keyint=" + std::to_string(spec.key_frame_distance) +
             ":scenecut=0:repeat-headers=1:aud=" + (spec.access_unit_delimiters ? "1" : "0") +
             ":log-level=error") +
      " -f h264 -";
  return SplitPictures(Cached(spec.name + ".264", command));
}

std::vector<std::string> MakeVideoWith(const std::string& name, int frames,
                                       const std::string& x264_options) {
  const std::string command =
      "ffmpeg -nostdin -v error -f lavfi -i testsrc2=s=128x96:r=24 -frames:v " +
      std::to_string(frames) + " -c:v libx264 -pix_fmt yuv420p -preset fast -x264-params " +
      Quoted("threads=1:repeat-headers=1:log-level=error:" + x264_options) + " -f h264 -";
  return SplitPictures(Cached(name + ".264", command));
}

std::vector<std::string> MakeAudio(int frames, int channels, bool with_adts) {
  const std::string seconds = std::to_string((frames + 2) * 1024.0 / 48000);
  const std::string stream =
      Cached("tone.aac", "ffmpeg -nostdin -v error -f lavfi -i sine=f=440:r=48000:d=" + seconds +
                             " -ac " + std::to_string(channels) + " -c:a aac -b:a 64k -f adts -");
  std::vector<std::string> result;
  for (size_t at = 0; at + kAdtsHeaderSize <= stream.size();) {
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(stream[at + i]); };
    const size_t size = static_cast<size_t>(byte(3) & 3) << 11 | byte(4) << 3 | byte(5) >> 5;
    const size_t skip = with_adts ? 0 : kAdtsHeaderSize;
    result.push_back(stream.substr(at + skip, size - skip));
    at += size;
  }
  EXPECT_GE(result.size(), static_cast<size_t>(frames));
  if (result.size() > static_cast<size_t>(frames)) result.resize(static_cast<size_t>(frames));
  return result;
}

}  // namespace kx_testing
