#include "kx_utility/ring_buffer.h"

#include <gmock/gmock.h>

#include <limits>
#include <string>
#include <vector>

#include "tests/testing/log_capture.h"

namespace kx_utility {
namespace {

using ::kx_testing::ScopedLogCapture;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t kMax = std::numeric_limits<uint32_t>::max();

// A packet of `size` bytes whose content is `fill`.
std::vector<uint8_t> Packet(uint32_t size, uint8_t fill = 0x11) {
  std::vector<uint8_t> packet(size, fill);
  packet[0] = static_cast<uint8_t>((size - 2) >> 8);
  packet[1] = static_cast<uint8_t>(size - 2);
  return packet;
}

bool Push(PacketRingBuf* ring, uint32_t size, uint8_t fill = 0x11) {
  std::vector<uint8_t> packet = Packet(size, fill);
  return ring->PushPacket(packet.data(), size);
}

std::vector<uint8_t> Pop(PacketRingBuf* ring) {
  uint32_t size = 77;
  const uint8_t* packet = ring->PopPacket(&size);
  if (packet == nullptr) {
    EXPECT_EQ(0u, size);
    return {};
  }
  return {packet, packet + size};
}

std::vector<uint8_t> Peek(PacketRingBuf* ring) {
  uint32_t size = 77;
  const uint8_t* packet = ring->PeekPacket(&size);
  if (packet == nullptr) {
    EXPECT_EQ(0u, size);
    return {};
  }
  return {packet, packet + size};
}

// Overwrites the length field of the oldest packet so that it claims `size` bytes in all.
void Corrupt(PacketRingBuf* ring, uint32_t size) {
  uint32_t true_size = 0;
  uint8_t* packet = ring->PeekPacket(&true_size);
  ASSERT_NE(nullptr, packet);
  packet[0] = static_cast<uint8_t>((size - 2) >> 8);
  packet[1] = static_cast<uint8_t>(size - 2);
}

TEST(PacketRingBufTest, IsEmptyAtFirst) {
  PacketRingBuf ring(100, 20);
  EXPECT_EQ(0u, ring.GetFullness());
  EXPECT_THAT(Peek(&ring), IsEmpty());
  EXPECT_THAT(Pop(&ring), IsEmpty());
}

TEST(PacketRingBufTest, HandsPacketsOutInOrder) {
  PacketRingBuf ring(100, 20);
  EXPECT_TRUE(Push(&ring, 7, 1));
  EXPECT_TRUE(Push(&ring, 2));
  EXPECT_TRUE(Push(&ring, 20, 3));
  EXPECT_EQ(29u, ring.GetFullness());
  EXPECT_EQ(Packet(7, 1), Peek(&ring));
  EXPECT_EQ(29u, ring.GetFullness());
  EXPECT_EQ(Packet(7, 1), Pop(&ring));
  EXPECT_EQ(Packet(2), Pop(&ring));
  EXPECT_EQ(Packet(20, 3), Pop(&ring));
  EXPECT_EQ(0u, ring.GetFullness());
}

struct RefusalCase {
  const char* name;
  uint32_t capacity;
  uint32_t max_packet;
  uint32_t size;
  uint32_t length_field;
  const char* message;  // Null: accepted.
};

class RefusalTest : public ::testing::TestWithParam<RefusalCase> {};

TEST_P(RefusalTest, LeavesTheRingUnchangedAndSaysWhy) {
  ScopedLogCapture log;
  PacketRingBuf ring(GetParam().capacity, GetParam().max_packet);
  std::vector<uint8_t> packet(GetParam().size + 2);
  packet[0] = static_cast<uint8_t>(GetParam().length_field >> 8);
  packet[1] = static_cast<uint8_t>(GetParam().length_field);
  const bool accepted = GetParam().message == nullptr;
  EXPECT_EQ(accepted, ring.PushPacket(packet.data(), GetParam().size));
  EXPECT_EQ(accepted ? GetParam().size : 0u, ring.GetFullness());
  if (accepted) {
    EXPECT_THAT(log.lines(), IsEmpty());
  } else {
    EXPECT_THAT(log.lines(), ElementsAre(std::string("WARNING ") + GetParam().message));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Packets, RefusalTest,
    ::testing::Values(RefusalCase{"Fits", 100, 20, 7, 5, nullptr},
                      RefusalCase{"LongerThanItsLength", 100, 20, 8, 5, "input data is not valid"},
                      RefusalCase{"ShorterThanItsLength", 100, 20, 6, 5, "input data is not valid"},
                      RefusalCase{"LengthIsBigEndian", 1000, 1000, 258, 256, nullptr},
                      RefusalCase{"Largest", 100, 20, 20, 18, nullptr},
                      RefusalCase{"TooBig", 100, 20, 21, 19, "packet is too big"},
                      RefusalCase{"Smallest", 100, 20, 2, 0, nullptr},
                      RefusalCase{"OneByte", 100, 20, 1, 0, "packet is too small"},
                      RefusalCase{"Nothing", 100, 20, 0, 0, "packet is too small"},
                      RefusalCase{"TooBigComesFirst", 100, 0, 1, 0, "packet is too big"},
                      RefusalCase{"FillsTheRing", 20, 20, 20, 18, nullptr},
                      RefusalCase{"LargerThanTheRing", 19, 20, 20, 18, "the queue is full"},
                      RefusalCase{"FullComesBeforeInvalid", 19, 20, 20, 7, "the queue is full"},
                      RefusalCase{"RingOfNothing", 0, 20, 2, 0, "the queue is full"},
                      RefusalCase{"LargestLengthField", 70000, 65537, 65537, 65535, nullptr},
                      RefusalCase{"BeyondTheLengthField", 70000, 70000, 65538, 0,
                                  "input data is not valid"}),
    [](const auto& param_info) { return param_info.param.name; });

TEST(PacketRingBufTest, RefusesAPacketFromNowhere) {
  ScopedLogCapture log;
  PacketRingBuf ring(100, 20);
  EXPECT_FALSE(ring.PushPacket(nullptr, 2));
  EXPECT_THAT(log.lines(), ElementsAre("WARNING input data is not valid"));
}

TEST(PacketRingBufTest, TellsNothingWithoutAPlaceForTheSize) {
  PacketRingBuf ring(100, 20);
  EXPECT_TRUE(Push(&ring, 7));
  EXPECT_EQ(nullptr, ring.PeekPacket(nullptr));
  EXPECT_EQ(nullptr, ring.PopPacket(nullptr));
  EXPECT_EQ(7u, ring.GetFullness());
}

TEST(PacketRingBufTest, HasNoRoomWithoutMemory) {
  ScopedLogCapture log;
  PacketRingBuf ring(kMax, 1000);  // Together more than 32 bits hold.
  EXPECT_FALSE(Push(&ring, 2));
  ring.Flush();
  EXPECT_FALSE(Push(&ring, 2));
  EXPECT_EQ(0u, ring.GetFullness());
  EXPECT_THAT(Pop(&ring), IsEmpty());
  EXPECT_THAT(log.lines(), ElementsAre("WARNING the queue is full", "WARNING the queue is full"));
}

TEST(PacketRingBufTest, DoesNotWrapAfterAPacketThatEndsAtTheCapacity) {
  ScopedLogCapture log;
  PacketRingBuf ring(100, 20);
  for (uint8_t i = 0; i < 5; ++i) EXPECT_TRUE(Push(&ring, 20, i));
  EXPECT_EQ(100u, ring.GetFullness());
  EXPECT_FALSE(Push(&ring, 20, 5));
  EXPECT_THAT(log.lines(), ElementsAre("WARNING the queue is full"));
  for (uint8_t i = 0; i < 5; ++i) EXPECT_EQ(Packet(20, i), Pop(&ring));
  EXPECT_EQ(0u, ring.GetFullness());
}

// Leaves the read position at 40 and the write position at 95.
void StandAt40And95(PacketRingBuf* ring) {
  EXPECT_TRUE(Push(ring, 20));
  EXPECT_TRUE(Push(ring, 20));
  EXPECT_TRUE(Push(ring, 20, 1));
  EXPECT_TRUE(Push(ring, 20, 2));
  EXPECT_TRUE(Push(ring, 15, 3));
  Pop(ring);
  Pop(ring);
}

TEST(PacketRingBufTest, RunsOnIntoTheSlackAndWrapsAfterIt) {
  PacketRingBuf ring(100, 20);
  uint32_t size = 0;
  EXPECT_TRUE(Push(&ring, 20));
  const uint8_t* base = ring.PeekPacket(&size);
  ring.Flush();
  StandAt40And95(&ring);
  EXPECT_EQ(base + 40, ring.PeekPacket(&size));
  EXPECT_TRUE(Push(&ring, 10, 4));  // 95 to 105, which is the limit now.
  EXPECT_TRUE(Push(&ring, 20, 5));  // From 0.
  EXPECT_EQ(85u, ring.GetFullness());
  EXPECT_EQ(Packet(20, 1), Pop(&ring));
  EXPECT_EQ(Packet(20, 2), Pop(&ring));
  EXPECT_EQ(Packet(15, 3), Pop(&ring));
  EXPECT_EQ(base + 95, ring.PeekPacket(&size));
  EXPECT_EQ(Packet(10, 4), Pop(&ring));
  EXPECT_EQ(base, ring.PeekPacket(&size));
  EXPECT_EQ(Packet(20, 5), Pop(&ring));
  // The limit stays at 105 until the next packet runs over the capacity.
  EXPECT_TRUE(Push(&ring, 20, 6));
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(Push(&ring, 20));
  EXPECT_EQ(80u, ring.GetFullness());
  EXPECT_TRUE(Push(&ring, 10, 7));  // 100 to 110.
  EXPECT_TRUE(Push(&ring, 19, 8));  // From 0 to just below the oldest one.
  EXPECT_FALSE(Push(&ring, 2));
  EXPECT_EQ(base + 20, ring.PopPacket(&size));
}

TEST(PacketRingBufTest, IsFullUntilAPopWhenTheOldestPacketIsAtTheStart) {
  ScopedLogCapture log;
  PacketRingBuf ring(100, 60);
  EXPECT_TRUE(Push(&ring, 60, 1));
  EXPECT_TRUE(Push(&ring, 40, 2));
  EXPECT_EQ(60u, Pop(&ring).size());
  EXPECT_TRUE(Push(&ring, 50, 3));
  EXPECT_EQ(40u, Pop(&ring).size());
  EXPECT_EQ(50u, ring.GetFullness());
  EXPECT_TRUE(Push(&ring, 50, 4));
  EXPECT_EQ(100u, ring.GetFullness());
  EXPECT_FALSE(Push(&ring, 2));
  EXPECT_THAT(log.lines(), ElementsAre("WARNING the queue is full"));
  EXPECT_EQ(Packet(50, 3), Pop(&ring));
  EXPECT_TRUE(Push(&ring, 40, 5));
  EXPECT_EQ(Packet(50, 4), Pop(&ring));
  EXPECT_EQ(Packet(40, 5), Pop(&ring));
}

TEST(PacketRingBufTest, CountsAsEmptyWhenAWrappedRingIsFilledToTheLastByte) {
  PacketRingBuf ring(100, 20);
  for (uint8_t i = 0; i < 5; ++i) EXPECT_TRUE(Push(&ring, 20, i));
  EXPECT_EQ(Packet(20, 0), Pop(&ring));
  EXPECT_EQ(80u, ring.GetFullness());
  EXPECT_TRUE(Push(&ring, 20, 5));
  EXPECT_EQ(0u, ring.GetFullness());  // Intended, see the header.
  EXPECT_THAT(Pop(&ring), IsEmpty());
  EXPECT_TRUE(Push(&ring, 20, 6));
  EXPECT_EQ(Packet(20, 6), Pop(&ring));
}

TEST(PacketRingBufTest, FlushStartsOverWithTheLimitAtTheCapacity) {
  PacketRingBuf ring(100, 20);
  StandAt40And95(&ring);
  EXPECT_TRUE(Push(&ring, 10));  // The limit is 105.
  ring.Flush();
  EXPECT_EQ(0u, ring.GetFullness());
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(Push(&ring, 20));
  EXPECT_FALSE(Push(&ring, 5));
}

TEST(PacketRingBufTest, OnlyPoppingEmptiesInconsistentContent) {
  ScopedLogCapture log;
  PacketRingBuf ring(100, 20);
  EXPECT_TRUE(Push(&ring, 10));
  EXPECT_TRUE(Push(&ring, 10));
  Corrupt(&ring, 21);
  const std::string text =
      "INFO the data of queue is complete, flush the queue, *size = 21, fullness = 20";
  EXPECT_THAT(Peek(&ring), IsEmpty());
  EXPECT_THAT(Peek(&ring), IsEmpty());
  EXPECT_EQ(20u, ring.GetFullness());
  EXPECT_THAT(Pop(&ring), IsEmpty());
  EXPECT_EQ(0u, ring.GetFullness());
  EXPECT_THAT(log.lines(), ElementsAre(text, text, text));
  EXPECT_TRUE(Push(&ring, 20));
}

TEST(PacketRingBufTest, NamesTheOperationThatMetInconsistentContent) {
  ScopedLogCapture log;
  PacketRingBuf ring(100, 20);
  EXPECT_TRUE(Push(&ring, 10));
  Corrupt(&ring, 11);
  Peek(&ring);
  Pop(&ring);
  EXPECT_THAT(log.raw(), ElementsAre(::testing::HasSubstr("[INFO][PeekPacket]"),
                                     ::testing::HasSubstr("[INFO][PopPacket]")));
}

TEST(PacketRingBufTest, FollowsAnOverwrittenLengthInsideWhatIsHeld) {
  PacketRingBuf ring(100, 20);
  EXPECT_TRUE(Push(&ring, 10));
  EXPECT_TRUE(Push(&ring, 10));
  Corrupt(&ring, 20);
  EXPECT_EQ(20u, Pop(&ring).size());
  EXPECT_EQ(0u, ring.GetFullness());
}

TEST(PacketRingBufTest, DoesNotHandOutAPacketAcrossTheLimit) {
  ScopedLogCapture log;
  PacketRingBuf ring(100, 20);
  StandAt40And95(&ring);
  EXPECT_TRUE(Push(&ring, 20));  // 95 to 115.
  EXPECT_TRUE(Push(&ring, 20));
  for (int i = 0; i < 3; ++i) Pop(&ring);
  Corrupt(&ring, 40);  // All that is held, but 20 bytes of it are at the start.
  EXPECT_THAT(Pop(&ring), IsEmpty());
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          "INFO the data of queue is complete, flush the queue, *size = 40, fullness = 40"));
}

TEST(PacketRingBufTest, DoesNotReadALengthBehindItsMemory) {
  ScopedLogCapture log;
  PacketRingBuf ring(10, 10);
  EXPECT_TRUE(Push(&ring, 2));
  EXPECT_TRUE(Push(&ring, 8));
  EXPECT_EQ(2u, Pop(&ring).size());
  EXPECT_EQ(8u, Pop(&ring).size());
  EXPECT_TRUE(Push(&ring, 2));
  EXPECT_TRUE(Push(&ring, 8));
  EXPECT_EQ(2u, Pop(&ring).size());
  EXPECT_FALSE(Push(&ring, 3));
  Corrupt(&ring, 7);
  EXPECT_EQ(7u, Pop(&ring).size());  // One byte is left.
  EXPECT_THAT(Peek(&ring), IsEmpty());
  EXPECT_EQ(1u, ring.GetFullness());
  EXPECT_THAT(Pop(&ring), IsEmpty());
  EXPECT_EQ(0u, ring.GetFullness());
}

}  // namespace
}  // namespace kx_utility
