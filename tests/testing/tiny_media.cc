#include "tests/testing/tiny_media.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "host/ffmpeg/ffmpeg_handles.h"
#include "record/stream/annex_b.h"
#include "tests/testing/shell.h"

extern "C" {
#include <libavutil/dict.h>
}

namespace kx_testing {
namespace {

using kxrtc_host::CodecContextHandle;
using kxrtc_host::FrameHandle;
using kxrtc_host::PacketHandle;

CodecContextHandle OpenEncoder(int width, int height, int key_frame_distance, int b_pictures) {
  const AVCodec* codec = avcodec_find_encoder_by_name("libx264");
  CodecContextHandle context(avcodec_alloc_context3(codec));
  context->width = width;
  context->height = height;
  context->pix_fmt = AV_PIX_FMT_YUV420P;
  context->time_base = {1, 24};
  context->gop_size = key_frame_distance;
  context->max_b_frames = b_pictures;
  context->thread_count = 1;
  AVDictionary* options = nullptr;
  av_dict_set(&options, "preset", "ultrafast", 0);
  av_dict_set(&options, "tune", "zerolatency", 0);
  av_dict_set(&options, "x264-params", "scenecut=0:b-adapt=0:b-pyramid=none", 0);
  EXPECT_GE(avcodec_open2(context.get(), codec, &options), 0);
  av_dict_free(&options);
  return context;
}

void Paint(AVFrame* picture, int luma) {
  for (int plane = 0; plane < 3; ++plane) {
    const int rows = plane == 0 ? picture->height : picture->height / 2;
    std::fill_n(picture->data[plane], picture->linesize[plane] * rows,
                static_cast<uint8_t>(plane == 0 ? luma : 128));
  }
  for (int row = 0; row < picture->width / 4; ++row) {
    std::fill_n(picture->data[0] + row * picture->linesize[0], picture->width / 4, uint8_t{235});
  }
}

std::vector<std::string> Encode(int width, int height, int frames, int luma, int step,
                                CodecContextHandle context) {
  FrameHandle picture(av_frame_alloc());
  picture->width = width;
  picture->height = height;
  picture->format = AV_PIX_FMT_YUV420P;
  EXPECT_GE(av_frame_get_buffer(picture.get(), 0), 0);
  PacketHandle packet(av_packet_alloc());
  std::vector<std::string> units;
  for (int i = 0; i <= frames; ++i) {
    const bool at_end = i == frames;
    if (!at_end) {
      EXPECT_GE(av_frame_make_writable(picture.get()), 0);
      Paint(picture.get(), luma + i % 64 * step);
      picture->pts = i;
    }
    EXPECT_GE(avcodec_send_frame(context.get(), at_end ? nullptr : picture.get()), 0);
    while (avcodec_receive_packet(context.get(), packet.get()) >= 0) {
      units.emplace_back(reinterpret_cast<char*>(packet->data), static_cast<size_t>(packet->size));
      av_packet_unref(packet.get());
    }
  }
  EXPECT_EQ(units.size(), static_cast<size_t>(frames));
  return units;
}

}  // namespace

std::vector<std::string> TinyVideo(int width, int height, int frames, int key_frame_distance,
                                   int luma) {
  return Encode(width, height, frames, luma, 1, OpenEncoder(width, height, key_frame_distance, 0));
}

std::vector<std::string> TinyReorderedVideo(int width, int height, int frames) {
  return Encode(width, height, frames, 40, 3, OpenEncoder(width, height, 250, 2));
}

std::vector<int> ShownLumas(const std::string& path) {
  const ShellResult run = RunShell("ffmpeg -nostdin -v error -i " + Quoted(path) +
                                   " -map 0:v -fps_mode passthrough -vf crop=2:2:40:10 -pix_fmt "
                                   "yuv420p -f rawvideo - ");
  EXPECT_EQ(run.errors, "");
  constexpr size_t kPictureBytes = 6;
  std::vector<int> lumas;
  for (size_t i = 0; i < run.output.size(); i += kPictureBytes) {
    lumas.push_back(static_cast<uint8_t>(run.output[i]));
  }
  return lumas;
}

std::string WithoutNal(const std::string& access_unit, int nal_type) {
  std::vector<kxrtc_host::NalUnit> units;
  kxrtc_host::SplitAccessUnit(reinterpret_cast<const uint8_t*>(access_unit.data()),
                              static_cast<uint32_t>(access_unit.size()), &units);
  std::string result;
  for (const kxrtc_host::NalUnit& unit : units) {
    if (unit.type() == nal_type) continue;
    result += std::string("\0\0\0\1", 4);
    result.append(reinterpret_cast<const char*>(unit.data), unit.size);
  }
  return result;
}

std::string SilentAudio(int channels) {
  return channels == 1 ? std::string("\x00\xC8\x00\x80\x23\x80", 6)
                       : std::string("\x21\x00\x49\x90\x02\x19\x00\x23\x80", 9);
}

}  // namespace kx_testing
