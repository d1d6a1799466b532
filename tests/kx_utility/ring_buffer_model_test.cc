// Drives the ring at random beside a plain queue of packets that predicts every result: each
// acceptance and refusal with its message, the place and the bytes of each packet, the bytes held.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "kx_utility/logging.h"
#include "kx_utility/ring_buffer.h"
#include "tests/testing/packet_ring_model.h"

namespace kx_utility {
namespace {

using ::kx_testing::PacketRingModel;

// In all, also under the address sanitizer. The thread sanitizer is slow and has one thread to see.
#ifdef __SANITIZE_THREAD__
constexpr int kOperations = 240000;
#else
constexpr int kOperations = 1200000;
#endif
constexpr int kOperationsPerRing = 3000;

// Keeps the last statement; much cheaper than a capture of all of them.
class LastStatement : public LogSink {
 public:
  LastStatement() { LogMessage::AddLogSink(this); }
  ~LastStatement() override { LogMessage::AddLogSink(nullptr); }

  // The last text without prefix and newline, empty if there was none since the last call.
  std::string Take() { return std::exchange(text_, std::string()); }

  void OnLogMessage(const char* message, LoggingSeverity) override {
    const std::string line = message;
    const size_t start = line.rfind(']') + 1;
    text_ = line.substr(start, line.size() - start - 1);
  }
  void SetDumpScopeLog(bool) override {}

 private:
  std::string text_;
};

class Driver {
 public:
  Driver(uint32_t capacity, uint32_t max_packet, std::mt19937* random)
      : ring_(capacity, max_packet), model_(capacity, max_packet), random_(*random) {
    FindBase(capacity, max_packet);
    max_size_ = max_packet + 2;
    push_share_ = 30 + Below(50);
  }

  void Step() {
    const uint32_t choice = Below(1000);
    if (choice == 0) {
      ring_.Flush();
      model_.Flush();
    } else if (choice < 10 * push_share_) {
      Push();
    } else if (choice % 4 == 0) {
      ExpectFront(&PacketRingBuf::PeekPacket);
    } else {
      Pop();
    }
    ASSERT_EQ(model_.held(), ring_.GetFullness());
    if (Below(500) == 0) push_share_ = 30 + Below(50);
  }

  int accepted() const { return accepted_; }
  int refused() const { return refused_; }

 private:
  uint32_t Below(uint32_t bound) { return static_cast<uint32_t>(random_() % bound); }

  // Positions show as distances from the place of the first packet of a flushed ring.
  void FindBase(uint32_t capacity, uint32_t max_packet) {
    if (capacity < 2 || max_packet < 2) return;
    uint8_t smallest[2] = {0, 0};
    uint32_t size = 0;
    ASSERT_TRUE(ring_.PushPacket(smallest, 2));
    base_ = ring_.PeekPacket(&size);
    ring_.Flush();
  }

  void Push() {
    // Mostly small ones, so that many fit.
    const uint32_t size = Below(3) == 0 ? Below(max_size_ + 1) : Below(1 + max_size_ / 4) + 2;
    packet_.assign(size, static_cast<uint8_t>(++serial_));
    if (size >= 2) {
      const uint32_t length = size - 2 + (Below(20) == 0 ? 1 : 0);
      packet_[0] = static_cast<uint8_t>(length >> 8);
      packet_[1] = static_cast<uint8_t>(length);
    }
    if (size >= 6) packet_[5] = static_cast<uint8_t>(serial_ >> 8);
    const std::string refusal = model_.Push(packet_);
    ASSERT_EQ(refusal.empty(), ring_.PushPacket(packet_.data(), size));
    ASSERT_EQ(refusal, log_.Take());
    ++(refusal.empty() ? accepted_ : refused_);
  }

  void ExpectFront(uint8_t* (PacketRingBuf::*look)(uint32_t*)) {
    uint32_t size = 77;
    const PacketRingModel::Packet* expected = model_.Front();
    const uint8_t* packet = (ring_.*look)(&size);
    ASSERT_EQ(expected == nullptr, packet == nullptr);
    ASSERT_EQ(expected == nullptr ? 0 : expected->bytes.size(), size);
    if (expected == nullptr) return;
    ASSERT_EQ(expected->position, packet - base_);
    ASSERT_TRUE(std::equal(expected->bytes.begin(), expected->bytes.end(), packet));
  }

  void Pop() {
    ASSERT_NO_FATAL_FAILURE(ExpectFront(&PacketRingBuf::PopPacket));
    if (model_.Front() != nullptr) model_.Pop();
  }

  PacketRingBuf ring_;
  PacketRingModel model_;
  LastStatement log_;
  std::mt19937& random_;
  uint32_t max_size_;
  uint32_t push_share_;  // In percent.
  uint32_t serial_ = 0;
  int accepted_ = 0;
  int refused_ = 0;
  const uint8_t* base_ = nullptr;
  std::vector<uint8_t> packet_;
};

TEST(PacketRingBufModelTest, BehavesLikeAQueueOfPackets) {
  std::mt19937 random(20240917);
  int accepted = 0;
  int refused = 0;
  for (int done = 0; done < kOperations; done += kOperationsPerRing) {
    const auto capacity = static_cast<uint32_t>(random() % (done % 2 == 0 ? 64 : 2000));
    const auto max_packet = static_cast<uint32_t>(random() % (done % 3 == 0 ? 16 : 400));
    SCOPED_TRACE("capacity " + std::to_string(capacity) + " max " + std::to_string(max_packet));
    Driver driver(capacity, max_packet, &random);
    for (int i = 0; i < kOperationsPerRing; ++i) {
      ASSERT_NO_FATAL_FAILURE(driver.Step()) << "operation " << i;
    }
    accepted += driver.accepted();
    refused += driver.refused();
  }
  // The mix does not degenerate.
  EXPECT_GT(accepted, kOperations / 10);
  EXPECT_GT(refused, kOperations / 10);
}

}  // namespace
}  // namespace kx_utility
