#include "host/parameter_sets.h"

#include <algorithm>

namespace kxrtc_host {
namespace {

constexpr uint32_t kMaxParameterSetSize = 0xFFFF;  // What a 16-bit length can tell.
constexpr size_t kMaxSpsCount = 31;                // What a 5-bit count can tell.
constexpr size_t kMaxPpsCount = 255;
constexpr uint32_t kMaxSpsId = 31;  // ITU-T H.264, 7.4.2.1.1.
constexpr uint32_t kMaxPpsId = 255;
constexpr size_t kSpsFixedBytes = 4;  // NAL unit header, profile, constraints, level.

// Reads the first few unsigned Exp-Golomb codes (ITU-T H.264, 9.1) of a NAL unit. Emulation
// prevention bytes are skipped. Behind the end it reads zeros and is not ok() any more.
class GolombReader {
 public:
  GolombReader(const std::string& bytes, size_t first_byte)
      : bytes_(bytes), bit_position_(first_byte * 8) {}

  uint32_t Read() {
    int zeros = 0;
    while (zeros < 32 && ok_ && ReadBit() == 0) ++zeros;
    if (zeros >= 32) ok_ = false;
    uint32_t value = 0;
    for (int i = 0; i < zeros && ok_; ++i) value = value << 1 | ReadBit();
    return ok_ ? (1u << zeros) - 1 + value : 0;
  }

  uint32_t ReadBit() {
    size_t index = bit_position_ / 8;
    if (bit_position_ % 8 == 0 && index >= 2 && index < bytes_.size() && Byte(index) == 3 &&
        Byte(index - 1) == 0 && Byte(index - 2) == 0) {
      ++index;
      bit_position_ += 8;
    }
    if (index >= bytes_.size()) {
      ok_ = false;
      return 0;
    }
    return Byte(index) >> (7 - bit_position_++ % 8) & 1;
  }

  bool ok() const { return ok_; }

 private:
  uint8_t Byte(size_t index) const { return static_cast<uint8_t>(bytes_[index]); }

  const std::string& bytes_;
  size_t bit_position_;
  bool ok_ = true;
};

// Profiles whose sequence parameter set tells the chroma format (ITU-T H.264, 7.3.2.1.1).
bool TellsChromaFormat(uint8_t profile) {
  static constexpr uint8_t kProfiles[] = {100, 110, 122, 244, 44,  83, 86,
                                          118, 128, 138, 139, 134, 135};
  return std::find(std::begin(kProfiles), std::end(kProfiles), profile) != std::end(kProfiles);
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
  const bool is_sps = unit.type() == kNalSps;
  if (!is_sps && unit.type() != kNalPps) return;
  if (unit.size > kMaxParameterSetSize || (is_sps && unit.size <= kSpsFixedBytes)) return;
  std::string bytes(reinterpret_cast<const char*>(unit.data), unit.size);
  GolombReader reader(bytes, is_sps ? kSpsFixedBytes : 1);
  const uint32_t id = reader.Read();
  if (!reader.ok() || id > (is_sps ? kMaxSpsId : kMaxPpsId)) return;
  std::vector<ParameterSet>& sets = is_sps ? sps_ : pps_;
  auto known = std::find_if(sets.begin(), sets.end(),
                            [id](const ParameterSet& set) { return set.id == id; });
  if (known != sets.end()) {
    known->bytes = std::move(bytes);
  } else {
    sets.push_back({id, std::move(bytes)});
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
    GolombReader reader(sps, kSpsFixedBytes);
    (void)reader.Read();  // seq_parameter_set_id
    const uint32_t chroma_format = reader.Read();
    if (chroma_format == 3) (void)reader.ReadBit();  // separate_colour_plane_flag
    const uint32_t luma_depth = reader.Read();
    const uint32_t chroma_depth = reader.Read();
    record.push_back(static_cast<uint8_t>(0xFC | (chroma_format & 3)));
    record.push_back(static_cast<uint8_t>(0xF8 | (luma_depth & 7)));
    record.push_back(static_cast<uint8_t>(0xF8 | (chroma_depth & 7)));
    record.push_back(0);
  }
  return record;
}

}  // namespace kxrtc_host
