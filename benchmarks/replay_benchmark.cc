// The faster the replay, the less of a transcoding is spent outside the encoder or the disk: this
// measures a replay into a host that only counts, beside plainly reading the same three files in
// blocks of 1 MiB.
//
//   replay_benchmark RECORD_DIR/ [Google Benchmark's options]
//
// benchmarks/make_record.py makes the record.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "benchmarks/counting_host.h"
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

// The three files, one after the other, in large blocks; nothing is looked at.
void PlainReads(benchmark::State& state) {
  uint64_t bytes = 0;
  std::vector<uint8_t> block(1 << 20);
  for (auto _ : state) {
    bytes = 0;
    for (const char* extension :
         {kxrtc::kIndexFileExtension, kxrtc::kVideoFileExtension, kxrtc::kAudioFileExtension}) {
      File file = File::Open(kxrtc::SpeakerRecordFilePath(g_folder, extension));
      while (const size_t size = file.Read(block.data(), block.size())) bytes += size;
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
