#include "kx_utility/ring_buffer.h"

#include <cstring>
#include <limits>
#include <new>

#include "kx_utility/failure_log.h"

namespace kx_utility {
namespace {

constexpr uint32_t kLengthFieldSize = 2;

bool Refuse(const char* text, CallSite site) {
  LogFormatted(LS_WARNING, site, "%s", text);
  return false;
}

void ReportInconsistent(uint32_t size, uint32_t fullness, CallSite site) {
  LogFormatted(LS_INFO, site,
               "the data of queue is complete, flush the queue, *size = %u, fullness = %u", size,
               fullness);
}

uint32_t PacketSize(const uint8_t* packet) {
  return (uint32_t{packet[0]} << 8 | packet[1]) + kLengthFieldSize;
}

}  // namespace

PacketRingBuf::PacketRingBuf(uint32_t capacity, uint32_t max_packet)
    : capacity_(capacity), max_packet_(max_packet), limit_(capacity) {
  if (buffer_size() <= std::numeric_limits<uint32_t>::max()) {
    buffer_.reset(new (std::nothrow) uint8_t[buffer_size()]);
  }
  // A ring without memory has no room.
  if (!buffer_) capacity_ = limit_ = 0;
}

bool PacketRingBuf::PushPacket(uint8_t* packet, uint32_t size) {
  if (size > max_packet_) return Refuse("packet is too big", Here());
  if (size < kLengthFieldSize) return Refuse("packet is too small", Here());
  if (FreeSpace() < size) return Refuse("the queue is full", Here());
  if (packet == nullptr || PacketSize(packet) != size) {
    return Refuse("input data is not valid", Here());
  }
  // Met only after a length field in the ring was overwritten.
  if (buffer_size() - write_position_ < size) return Refuse("the queue is full", Here());
  std::memmove(buffer_.get() + write_position_, packet, size);
  write_position_ += size;
  if (write_position_ <= capacity_ || write_position_ < read_position_) return true;
  limit_ = write_position_;
  // At the limit the ring is full until a pop.
  if (read_position_ != 0) write_position_ = 0;
  return true;
}

uint8_t* PacketRingBuf::PeekPacket(uint32_t* size) {
  if (size == nullptr) return nullptr;
  switch (ReadFront(size)) {
    case Front::kPacket:
      return buffer_.get() + read_position_;
    case Front::kInconsistent:
      // Intended: unlike PopPacket it leaves the ring as it is.
      ReportInconsistent(*size, GetFullness(), Here());
      break;
    case Front::kNone:
      break;
  }
  *size = 0;
  return nullptr;
}

uint8_t* PacketRingBuf::PopPacket(uint32_t* size) {
  if (size == nullptr) return nullptr;
  uint8_t* const packet = buffer_.get() + read_position_;
  switch (ReadFront(size)) {
    case Front::kPacket:
      read_position_ += *size;
      if (read_position_ == limit_) read_position_ = 0;
      if (write_position_ == limit_) write_position_ = 0;
      return packet;
    case Front::kInconsistent:
      ReportInconsistent(*size, GetFullness(), Here());
      Flush();
      break;
    case Front::kNone:
      break;
  }
  *size = 0;
  return nullptr;
}

uint32_t PacketRingBuf::GetFullness() {
  if (write_position_ >= read_position_) return write_position_ - read_position_;
  return write_position_ - read_position_ + limit_;
}

void PacketRingBuf::Flush() {
  limit_ = capacity_;
  read_position_ = 0;
  write_position_ = 0;
}

PacketRingBuf::Front PacketRingBuf::ReadFront(uint32_t* size) {
  *size = 0;
  if (GetFullness() == 0) return Front::kNone;
  const uint8_t* front = buffer_.get() + read_position_;
  // The second byte can be after the buffer only if a length field was overwritten.
  *size = buffer_size() - read_position_ < kLengthFieldSize ? kLengthFieldSize : PacketSize(front);
  // Packets are never split, so in a wrapped ring the oldest one ends at the limit at the latest.
  const uint32_t end = write_position_ >= read_position_ ? write_position_ : limit_;
  const bool fits = *size <= GetFullness() && uint64_t{read_position_} + *size <= end;
  return fits ? Front::kPacket : Front::kInconsistent;
}

uint32_t PacketRingBuf::FreeSpace() {
  if (write_position_ >= read_position_) return limit_ - write_position_ + read_position_;
  return read_position_ - write_position_;
}

}  // namespace kx_utility
