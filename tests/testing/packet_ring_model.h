// Predicts the packet ring in terms of whole packets.
#ifndef TESTS_TESTING_PACKET_RING_MODEL_H_
#define TESTS_TESTING_PACKET_RING_MODEL_H_

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace kx_testing {

// What PacketRingBuf is documented to do, as a plain queue of packets. Knows nothing of content
// that was overwritten in the ring.
class PacketRingModel {
 public:
  PacketRingModel(uint32_t capacity, uint32_t max_packet)
      : capacity_(capacity), max_packet_(max_packet), limit_(capacity) {}

  // The message of the refusal, empty when the packet is accepted.
  std::string Push(const std::vector<uint8_t>& packet) {
    if (packet.size() > max_packet_) return "packet is too big";
    if (packet.size() < 2) return "packet is too small";
    if (packet.size() > limit_ - held_) return "the queue is full";
    if (packet[0] * 256u + packet[1] + 2 != packet.size()) return "input data is not valid";
    const bool wrapped = !packets_.empty() && next_ < packets_.front().position;
    const auto end = static_cast<uint32_t>(next_ + packet.size());
    // What lies at the front of an empty ring is where the next packet goes.
    const uint32_t oldest = packets_.empty() ? next_ : packets_.front().position;
    packets_.push_back({next_, packet});
    held_ += static_cast<uint32_t>(packet.size());
    next_ = end;
    if (wrapped) {
      if (held_ == limit_) Forget();
    } else if (end > capacity_) {
      limit_ = end;
      if (oldest != 0) next_ = 0;
    }
    return {};
  }

  struct Packet {
    uint32_t position;
    std::vector<uint8_t> bytes;
  };

  const Packet* Front() const { return packets_.empty() ? nullptr : &packets_.front(); }

  void Pop() {
    held_ -= static_cast<uint32_t>(packets_.front().bytes.size());
    packets_.pop_front();
    if (next_ == limit_) next_ = 0;
  }

  void Flush() {
    Forget();
    limit_ = capacity_;
    next_ = 0;
  }

  uint32_t held() const { return held_; }

 private:
  void Forget() {
    packets_.clear();
    held_ = 0;
  }

  const uint32_t capacity_;
  const uint32_t max_packet_;
  uint32_t limit_;
  uint32_t next_ = 0;
  uint32_t held_ = 0;
  std::deque<Packet> packets_;
};

}  // namespace kx_testing

#endif  // TESTS_TESTING_PACKET_RING_MODEL_H_
