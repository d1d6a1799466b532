#include "host/ffmpeg/parameter_set_probe.h"

#include <cstring>

#include "record/stream/annex_b.h"

namespace kxrtc_host {
namespace {

constexpr int kMostPictures = 64;  // No encoder holds more back.
constexpr uint8_t kGray = 128;
constexpr uint8_t kStartCode[] = {0, 0, 0, 1};

FrameHandle GrayPicture(const EncoderSettings& settings) {
  FrameHandle picture(av_frame_alloc());
  if (picture == nullptr) return picture;
  picture->width = static_cast<int>(settings.width);
  picture->height = static_cast<int>(settings.height);
  picture->format = AV_PIX_FMT_YUV420P;
  if (av_frame_get_buffer(picture.get(), 0) < 0) return nullptr;
  for (int plane = 0; plane < 3; ++plane) {
    const int rows = plane == 0 ? picture->height : picture->height / 2;
    std::memset(picture->data[plane], kGray,
                static_cast<size_t>(picture->linesize[plane]) * static_cast<size_t>(rows));
  }
  return picture;
}

std::vector<uint8_t> ParameterSetsIn(const AVPacket& packet) {
  std::vector<NalUnit> units;
  SplitAccessUnit(packet.data, static_cast<uint32_t>(packet.size), &units);
  std::vector<uint8_t> sets;
  for (const NalUnit& unit : units) {
    if (unit.type() != kxrtc::H264::kNaluTypeSps && unit.type() != kxrtc::H264::kNaluTypePps) {
      continue;
    }
    sets.insert(sets.end(), kStartCode, kStartCode + sizeof(kStartCode));
    sets.insert(sets.end(), unit.data, unit.data + unit.size);
  }
  return sets;
}

}  // namespace

std::vector<uint8_t> ProbeParameterSets(H264Encoder* encoder, const EncoderSettings& settings) {
  const FrameHandle picture = GrayPicture(settings);
  const PacketHandle packet(av_packet_alloc());
  if (picture == nullptr || packet == nullptr) return {};
  for (int count = 0; count <= kMostPictures; ++count) {
    picture->pts = count;
    const bool is_end = count == kMostPictures;
    if (encoder->Send(is_end ? nullptr : picture.get()) < 0) return {};
    if (encoder->Receive(packet.get())) return ParameterSetsIn(*packet);
  }
  return {};
}

}  // namespace kxrtc_host
