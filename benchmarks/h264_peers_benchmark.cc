// The same work by GStreamer's codec parsers, and memchr() over the same bytes: what a machine can
// do at all with one look at each byte.
#include <benchmark/benchmark.h>
#define GST_USE_UNSTABLE_API
#include <gst/codecparsers/gsth264parser.h>

#include <algorithm>
#include <cstring>

#include "benchmarks/h264_stream.h"

namespace {

using kx_benchmark::Bytes;
using kx_benchmark::Stream720p;

constexpr size_t kWorstCaseSize = 4 << 20;

void SetBytes(benchmark::State& state, const Bytes& bytes) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}

void Identify(benchmark::State& state, const Bytes& bytes) {
  GstH264NalParser* parser = gst_h264_nal_parser_new();
  for (auto _ : state) {
    size_t offset = 0;
    GstH264NalUnit unit;
    while (gst_h264_parser_identify_nalu(parser, bytes.data(), static_cast<guint>(offset),
                                         bytes.size(), &unit) == GST_H264_PARSER_OK) {
      offset = unit.offset + unit.size;
    }
    benchmark::DoNotOptimize(offset);
  }
  gst_h264_nal_parser_free(parser);
  SetBytes(state, bytes);
}

void BM_Peer_GStreamerIdentify_720p(benchmark::State& state) { Identify(state, Stream720p()); }
void BM_Peer_GStreamerIdentify_Zeros(benchmark::State& state) {
  Identify(state, Bytes(kWorstCaseSize, 0));
}
void BM_Peer_GStreamerIdentify_Ones(benchmark::State& state) {
  Identify(state, Bytes(kWorstCaseSize, 1));
}

// For a byte that does not occur.
void BM_Peer_Memchr_720p(benchmark::State& state) {
  Bytes bytes = Stream720p();
  std::replace(bytes.begin(), bytes.end(), uint8_t{0xA5}, uint8_t{0xA4});
  for (auto _ : state) {
    benchmark::DoNotOptimize(std::memchr(bytes.data(), 0xA5, bytes.size()));
    benchmark::ClobberMemory();
  }
  SetBytes(state, bytes);
}

// A NAL unit as the parser wants it: with start code and header byte.
Bytes WithHeader(uint8_t header, const Bytes& payload) {
  Bytes bytes(4 + payload.size());
  bytes[2] = 1;
  bytes[3] = header;
  std::copy(payload.begin(), payload.end(), bytes.begin() + 4);
  return bytes;
}

GstH264NalUnit Identified(GstH264NalParser* parser, const Bytes& bytes) {
  GstH264NalUnit unit;
  (void)gst_h264_parser_identify_nalu(parser, bytes.data(), 0, bytes.size(), &unit);
  return unit;
}

void BM_Peer_GStreamerParseSpsAndPps(benchmark::State& state) {
  GstH264NalParser* parser = gst_h264_nal_parser_new();
  const Bytes sps_bytes = WithHeader(0x67, kx_benchmark::SpsPayload());
  const Bytes pps_bytes = WithHeader(0x68, kx_benchmark::PpsPayload());
  GstH264NalUnit sps_unit = Identified(parser, sps_bytes);
  GstH264NalUnit pps_unit = Identified(parser, pps_bytes);
  GstH264SPS sps;
  GstH264PPS pps;
  if (gst_h264_parser_parse_sps(parser, &sps_unit, &sps) != GST_H264_PARSER_OK) {
    state.SkipWithError("the SPS does not parse");
  }
  gst_h264_sps_clear(&sps);
  for (auto _ : state) {
    if (gst_h264_parse_sps(&sps_unit, &sps) != GST_H264_PARSER_OK ||
        gst_h264_parse_pps(parser, &pps_unit, &pps) != GST_H264_PARSER_OK) {
      state.SkipWithError("a parameter set does not parse");
    }
    benchmark::DoNotOptimize(sps);
    benchmark::DoNotOptimize(pps);
    gst_h264_sps_clear(&sps);
    gst_h264_pps_clear(&pps);
  }
  gst_h264_nal_parser_free(parser);
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

BENCHMARK(BM_Peer_GStreamerIdentify_720p);
BENCHMARK(BM_Peer_GStreamerIdentify_Zeros);
BENCHMARK(BM_Peer_GStreamerIdentify_Ones);
BENCHMARK(BM_Peer_Memchr_720p);
BENCHMARK(BM_Peer_GStreamerParseSpsAndPps);

}  // namespace
