#include "tests/install/abi_host/record_bytes.h"

#include <fstream>

namespace abi_host {

RecordBytes& RecordBytes::Start(int64_t time) { return Header(0xEEDDCC01, time); }

RecordBytes& RecordBytes::Stop(int64_t time) { return Header(0xEEDDCC02, time); }

RecordBytes& RecordBytes::Channel(int64_t time, uint32_t media_type) {
  Header(0xEEDDCC03, time);
  Number(media_type, 4);
  return *this;
}

RecordBytes& RecordBytes::Attributes(int64_t time, int32_t rotation, uint32_t width,
                                     uint32_t height) {
  Header(0xEEDDCC04, time);
  Number(static_cast<uint32_t>(rotation), 4);
  Number(width, 4);
  Number(height, 4);
  return *this;
}

RecordBytes& RecordBytes::Video(int64_t time, const std::string& access_unit) {
  Header(0xEEDDCC06, time);
  Number(video_.size(), 8);
  Number(access_unit.size(), 4);
  video_ += access_unit;
  return *this;
}

RecordBytes& RecordBytes::Audio(int64_t time, const std::string& frame) {
  Header(0xEEDDCC07, time);
  Number(audio_.size(), 8);
  Number(frame.size(), 4);
  audio_ += frame;
  return *this;
}

RecordBytes& RecordBytes::Header(uint32_t type, int64_t time) {
  Number(type, 4);
  Number(static_cast<uint64_t>(time), 8);
  return *this;
}

void RecordBytes::Save(const std::string& folder, const std::string& descriptor) const {
  const std::string stem = folder + "SpeakeRecord";  // sic
  std::ofstream(stem + ".index", std::ios::binary) << index_;
  std::ofstream(stem + ".264", std::ios::binary) << video_;
  std::ofstream(stem + ".aac", std::ios::binary) << audio_;
  std::ofstream(stem + ".desc", std::ios::binary) << descriptor;
}

void RecordBytes::Number(uint64_t value, int bytes) {
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    index_ += static_cast<char>(value >> shift & 0xFF);
  }
}

}  // namespace abi_host
