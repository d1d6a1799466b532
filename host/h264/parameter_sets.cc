#include "host/h264/parameter_sets.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "kx_utility/bitbuffer.h"
#include "kxrtc/media/video/h264/nal_unit.h"
#include "record/stream/access_unit_contents.h"
#include "record/stream/picture_parameters.h"

namespace kxrtc_host {
namespace {

using kx_utility::BitBuffer;

constexpr size_t kMaxSpsCount = 31;  // The limit of a 5-bit count.
constexpr size_t kMaxPpsCount = 255;
constexpr uint32_t kSpsFixedBytes = 3;  // Profile, constraints, level.

// The RBSP of the first bytes after the NAL header: enough for the elements read here.
std::vector<uint8_t> ReadHead(const std::string& bytes) {
  constexpr size_t kHeadBytes = 64;
  return kxrtc::H264::ParseRbsp(reinterpret_cast<const uint8_t*>(bytes.data()) + 1,
                                static_cast<uint32_t>(std::min(bytes.size() - 1, kHeadBytes)));
}

struct ColourFormat {
  uint32_t chroma_format = 0;
  uint32_t luma_depth = 0;  // Less 8, like the next.
  uint32_t chroma_depth = 0;
};

// If a set ends too early, the rest stays 0.
ColourFormat ReadColourFormat(const std::string& sps) {
  const std::vector<uint8_t> head = ReadHead(sps);
  BitBuffer reader(head.data(), static_cast<uint32_t>(head.size()));
  ColourFormat format;
  uint32_t id = 0;
  (void)(reader.ConsumeBytes(kSpsFixedBytes) && reader.ReadExponentialGolomb(&id) &&
         reader.ReadExponentialGolomb(&format.chroma_format) &&
         (format.chroma_format != 3 || reader.ConsumeBits(1)) &&  // separate_colour_plane_flag
         reader.ReadExponentialGolomb(&format.luma_depth) &&
         reader.ReadExponentialGolomb(&format.chroma_depth));
  return format;
}

void AppendSet(const std::string& bytes, std::vector<uint8_t>* record) {
  record->push_back(static_cast<uint8_t>(bytes.size() >> 8));
  record->push_back(static_cast<uint8_t>(bytes.size()));
  record->insert(record->end(), bytes.begin(), bytes.end());
}

}  // namespace

void ParameterSets::Clear() {
  sps_.clear();
  pps_.clear();
}

void ParameterSets::Add(const NalUnit& unit) {
  const std::optional<uint32_t> id = ParameterSetId(unit.data, unit.size);
  if (!id) return;
  const bool is_sps = unit.type() == kxrtc::H264::kNaluTypeSps;
  std::string bytes(reinterpret_cast<const char*>(unit.data), unit.size);
  std::vector<ParameterSet>& sets = is_sps ? sps_ : pps_;
  auto known = std::find_if(sets.begin(), sets.end(),
                            [&](const ParameterSet& set) { return set.id == *id; });
  if (known != sets.end()) {
    known->bytes = std::move(bytes);
  } else {
    sets.push_back({*id, std::move(bytes)});
  }
}

std::vector<NalUnit> ParameterSets::Units() const {
  std::vector<NalUnit> units;
  for (const auto* sets : {&sps_, &pps_}) {
    for (const ParameterSet& set : *sets) {
      units.push_back({reinterpret_cast<const uint8_t*>(set.bytes.data()),
                       static_cast<uint32_t>(set.bytes.size())});
    }
  }
  return units;
}

std::vector<uint8_t> ParameterSets::DecoderConfiguration() const {
  if (!IsComplete()) return {};
  const std::string& sps = sps_.front().bytes;
  const size_t sps_count = std::min(sps_.size(), kMaxSpsCount);
  const size_t pps_count = std::min(pps_.size(), kMaxPpsCount);
  std::vector<uint8_t> record = {1,
                                 static_cast<uint8_t>(sps[1]),
                                 static_cast<uint8_t>(sps[2]),
                                 static_cast<uint8_t>(sps[3]),
                                 0xFF,
                                 static_cast<uint8_t>(0xE0 | sps_count)};
  for (size_t i = 0; i < sps_count; ++i) AppendSet(sps_[i].bytes, &record);
  record.push_back(static_cast<uint8_t>(pps_count));
  for (size_t i = 0; i < pps_count; ++i) AppendSet(pps_[i].bytes, &record);
  if (TellsChromaFormat(record[1])) {
    const ColourFormat format = ReadColourFormat(sps);
    record.push_back(static_cast<uint8_t>(0xFC | (format.chroma_format & 3)));
    record.push_back(static_cast<uint8_t>(0xF8 | (format.luma_depth & 7)));
    record.push_back(static_cast<uint8_t>(0xF8 | (format.chroma_depth & 7)));
    record.push_back(0);
  }
  return record;
}

}  // namespace kxrtc_host
