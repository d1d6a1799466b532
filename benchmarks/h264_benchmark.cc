// What a user gains if these get faster: a replay looks at each byte of a record's video once, for
// key frames; a host that inspects streams finds NAL units and parameter sets in them.
#include <benchmark/benchmark.h>

#include <vector>

#include "benchmarks/h264_stream.h"
#include "kx_utility/bitbuffer.h"
#include "kx_utility/raw_buffer.h"
#include "kxrtc/media/video/h264/nal_unit.h"
#include "kxrtc/media/video/h264/pps_parser.h"
#include "kxrtc/media/video/h264/sps_parser.h"
#include "kxrtc/media/video/h264/sps_vui_rewriter.h"

namespace {

using kx_benchmark::Bytes;
using kx_benchmark::PpsPayload;
using kx_benchmark::SpsPayload;
using kx_benchmark::Stream720p;
namespace H264 = kxrtc::H264;

constexpr size_t kWorstCaseSize = 4 << 20;
constexpr uint32_t kCodes = 4096;

uint32_t Length(const Bytes& bytes) { return static_cast<uint32_t>(bytes.size()); }

void SetBytes(benchmark::State& state, const Bytes& bytes) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}

void FindNalus(benchmark::State& state, const Bytes& bytes) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(H264::FindNaluIndices(bytes.data(), Length(bytes)));
  }
  SetBytes(state, bytes);
}

void IsKeyFrame(benchmark::State& state, const Bytes& bytes) {
  for (auto _ : state) benchmark::DoNotOptimize(H264::IsKeyFrame(bytes.data(), Length(bytes)));
  SetBytes(state, bytes);
}

// As a stream whose last NAL unit is the first IDR slice: all of it is searched.
Bytes WithoutKeyFrames() {
  Bytes bytes = Stream720p();
  for (const H264::NaluIndex& index : H264::FindNaluIndices(bytes.data(), Length(bytes))) {
    uint8_t& header = bytes[index.payload_start_offset];
    if (H264::ParseNaluType(header) == H264::kNaluTypeIdr) header = 0x61;
  }
  return bytes;
}

void BM_FindNaluIndices_720p(benchmark::State& state) { FindNalus(state, Stream720p()); }
void BM_FindNaluIndices_Zeros(benchmark::State& state) {
  FindNalus(state, Bytes(kWorstCaseSize, 0));
}
void BM_FindNaluIndices_Ones(benchmark::State& state) {
  FindNalus(state, Bytes(kWorstCaseSize, 1));
}
void BM_IsKeyFrame_720p(benchmark::State& state) { IsKeyFrame(state, WithoutKeyFrames()); }
void BM_IsKeyFrame_Zeros(benchmark::State& state) { IsKeyFrame(state, Bytes(kWorstCaseSize, 0)); }
void BM_IsKeyFrame_Ones(benchmark::State& state) { IsKeyFrame(state, Bytes(kWorstCaseSize, 1)); }

void BM_ParseRbsp_720p(benchmark::State& state) {
  const Bytes& bytes = Stream720p();
  for (auto _ : state) benchmark::DoNotOptimize(H264::ParseRbsp(bytes.data(), Length(bytes)));
  SetBytes(state, bytes);
}

void WriteRbsp(benchmark::State& state, const Bytes& bytes) {
  kx_utility::RawBuffer destination;
  for (auto _ : state) {
    destination.set_size(0);
    H264::WriteRbsp(bytes.data(), Length(bytes), &destination);
    benchmark::DoNotOptimize(destination.data());
  }
  SetBytes(state, bytes);
}
void BM_WriteRbsp_720p(benchmark::State& state) { WriteRbsp(state, Stream720p()); }
void BM_WriteRbsp_Zeros(benchmark::State& state) { WriteRbsp(state, Bytes(kWorstCaseSize, 0)); }

void BM_ParseSpsAndPps(benchmark::State& state) {
  kxrtc::SpsParser::SpsState sps;
  for (auto _ : state) {
    if (!kxrtc::SpsParser::ParseSps(SpsPayload().data(), Length(SpsPayload()), sps)) {
      state.SkipWithError("the SPS does not parse");
    }
    benchmark::DoNotOptimize(kxrtc::PpsParser::ParsePps(PpsPayload().data(), Length(PpsPayload())));
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

void BM_ParseAndRewriteSps(benchmark::State& state) {
  kxrtc::SpsParser::SpsState sps;
  kx_utility::RawBuffer destination;
  bool parsed = false;
  for (auto _ : state) {
    destination.set_size(0);
    if (kxrtc::SpsVuiRewriter::ParseAndRewriteSps(SpsPayload().data(), Length(SpsPayload()), &sps,
                                                  parsed, &destination) !=
        kxrtc::SpsVuiRewriter::kVuiRewritten) {
      state.SkipWithError("the SPS is not rewritten");
    }
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

// Values as in headers: mostly small.
uint32_t CodeValue(uint32_t i) { return i % 7 == 0 ? i : i % 9; }

void BM_ExponentialGolombRead(benchmark::State& state) {
  Bytes bytes(kCodes * 8);
  kx_utility::BitBufferWriter writer(bytes.data(), Length(bytes));
  for (uint32_t i = 0; i < kCodes; ++i) (void)writer.WriteExponentialGolomb(CodeValue(i));
  for (auto _ : state) {
    kx_utility::BitBuffer reader(bytes.data(), Length(bytes));
    uint32_t value = 0;
    for (uint32_t i = 0; i < kCodes; ++i) {
      if (!reader.ReadExponentialGolomb(&value)) state.SkipWithError("a code is missing");
    }
    benchmark::DoNotOptimize(value);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kCodes));
}

void BM_ExponentialGolombWrite(benchmark::State& state) {
  Bytes bytes(kCodes * 8);
  for (auto _ : state) {
    kx_utility::BitBufferWriter writer(bytes.data(), Length(bytes));
    for (uint32_t i = 0; i < kCodes; ++i) {
      if (!writer.WriteExponentialGolomb(CodeValue(i))) state.SkipWithError("there is no room");
    }
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kCodes));
}

BENCHMARK(BM_FindNaluIndices_720p);
BENCHMARK(BM_FindNaluIndices_Zeros);
BENCHMARK(BM_FindNaluIndices_Ones);
BENCHMARK(BM_IsKeyFrame_720p);
BENCHMARK(BM_IsKeyFrame_Zeros);
BENCHMARK(BM_IsKeyFrame_Ones);
BENCHMARK(BM_ParseRbsp_720p);
BENCHMARK(BM_WriteRbsp_720p);
BENCHMARK(BM_WriteRbsp_Zeros);
BENCHMARK(BM_ParseSpsAndPps);
BENCHMARK(BM_ParseAndRewriteSps);
BENCHMARK(BM_ExponentialGolombRead);
BENCHMARK(BM_ExponentialGolombWrite);

}  // namespace

BENCHMARK_MAIN();
