#include "benchmarks/h264_stream.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "kxrtc/media/video/h264/nal_unit.h"

namespace kx_benchmark {
namespace {

Bytes ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

Bytes MakeStream() {
  if (const char* path = std::getenv("KXRTC_BENCHMARK_STREAM")) return ReadFile(path);
  char path[] = "/tmp/kxrtc_benchmark_XXXXXX.264";
  const int fd = mkstemps(path, 4);
  if (fd < 0) return Bytes();
  (void)close(fd);  // ffmpeg opens it by its name.
  const std::string command =
      std::string(
          "ffmpeg -v error -y -f lavfi -i testsrc2=s=1280x720:r=30:d=10,noise=alls=12:allf=t "
          "-pix_fmt yuv420p -c:v libx264 -preset veryfast -b:v 4M ") +
      path;
  Bytes bytes;
  if (std::system(command.c_str()) == 0) bytes = ReadFile(path);
  std::remove(path);
  return bytes;
}

}  // namespace

const Bytes& Stream720p() {
  static const Bytes stream = MakeStream();
  if (stream.size() < 100000) {
    std::fprintf(stderr,
                 "no 720p stream: ffmpeg with libx264 or KXRTC_BENCHMARK_STREAM is needed\n");
    std::exit(1);
  }
  return stream;
}

Bytes FirstPayload(uint8_t type) {
  const Bytes& stream = Stream720p();
  for (const kxrtc::H264::NaluIndex& index :
       kxrtc::H264::FindNaluIndices(stream.data(), static_cast<uint32_t>(stream.size()))) {
    const auto header = stream.begin() + index.payload_start_offset;
    if (kxrtc::H264::ParseNaluType(*header) == type)
      return Bytes(header + 1, header + index.payload_size);
  }
  return Bytes();
}

const Bytes& SpsPayload() {
  static const Bytes payload = FirstPayload(kxrtc::H264::kNaluTypeSps);
  return payload;
}

const Bytes& PpsPayload() {
  static const Bytes payload = FirstPayload(kxrtc::H264::kNaluTypePps);
  return payload;
}

}  // namespace kx_benchmark
