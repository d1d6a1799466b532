// The faster the replay, the less of a transcoding is spent outside the encoder or the disk: this
// measures a replay into a host that only counts, beside plainly reading the same three files with
// the same block sizes.
//
//   replay_benchmark RECORD_DIR/ [Google Benchmark's options]
//
// benchmarks/make_record.py makes the record.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "benchmarks/counting_host.h"
#include "kx_utility/byte_buffer.h"
#include "kx_utility/file.h"
#include "kxrtc/recording/speaker_record_format.h"
#include "rtc_transcoder/api/rtc_transcoder.h"

namespace {

using kx_utility::File;

std::string g_folder;  // Set by main() before anything runs.

void Replay(benchmark::State& state) {
  uint64_t bytes = 0;
  for (auto _ : state) {
    void* created = nullptr;
    CreateSpeakerRecordTranscoder(&created);
    auto* transcoder = static_cast<kxrtc::SpeakerRecordTranscoder*>(created);
    kxrtc_benchmark::CountingFactory factory;
    kxrtc_benchmark::EndObserver observer;
    if (!transcoder->StartTranscoding(g_folder.c_str(), "unused", &observer, &factory) ||
        !observer.end.get_future().get()) {
      state.SkipWithError("the record cannot be replayed");
    }
    ReleaseSpeakerRecordTranscoder(transcoder);
    bytes = factory.writer.bytes;
  }
  state.SetBytesProcessed(static_cast<int64_t>(bytes * state.iterations()));
}
BENCHMARK(Replay)->UseRealTime()->Unit(benchmark::kMillisecond);

// A header and a payload from the index, then the frame, and so on; nothing is looked at but the
// sizes.
void PlainReads(benchmark::State& state) {
  uint64_t bytes = 0;
  for (auto _ : state) {
    bytes = 0;
    File index = File::Open(kxrtc::SpeakerRecordFilePath(g_folder, kxrtc::kIndexFileExtension));
    File video = File::Open(kxrtc::SpeakerRecordFilePath(g_folder, kxrtc::kVideoFileExtension));
    File audio = File::Open(kxrtc::SpeakerRecordFilePath(g_folder, kxrtc::kAudioFileExtension));
    std::vector<uint8_t> frame(1 << 20);
    uint8_t block[kxrtc::kSpeakerRecordHeaderSize];
    while (index.Read(block, sizeof(block)) == sizeof(block)) {
      kx_utility::ByteBufferReader reader(reinterpret_cast<char*>(block), sizeof(block));
      kxrtc::SpeakerRecordHeader header;
      uint32_t payload_size = 0;
      if (!kxrtc::ReadRecord(&reader, &header) ||
          !kxrtc::GetRecordPayloadSize(header.type, &payload_size) ||
          index.Read(block, payload_size) != payload_size) {
        break;
      }
      if (header.type != kxrtc::kVideoData && header.type != kxrtc::kAudioData) continue;
      kx_utility::ByteBufferReader payload(reinterpret_cast<char*>(block), payload_size);
      kxrtc::MediaDataRecord data;
      if (!kxrtc::ReadRecord(&payload, &data) || data.size > frame.size()) break;
      File& file = header.type == kxrtc::kVideoData ? video : audio;
      bytes += file.Read(frame.data(), data.size);
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(bytes * state.iterations()));
}
BENCHMARK(PlainReads)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s RECORD_DIR/ [--benchmark_...]\n", argv[0]);
    return 2;
  }
  g_folder = argv[1];
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
