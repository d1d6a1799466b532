// Drives the packet ring by the input. On content that nobody overwrites it behaves like the model,
// result by result. On overwritten length fields it hands out memory of its own only.
#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "kx_utility/ring_buffer.h"
#include "tests/testing/packet_ring_model.h"

namespace {

using kx_fuzz::Check;
using kx_fuzz::FuzzInput;
using kx_testing::PacketRingModel;
using kx_utility::PacketRingBuf;

// The bytes of a packet, or of something near to one.
std::vector<uint8_t> PacketOf(FuzzInput* input) {
  const size_t size = input->Byte();
  std::vector<uint8_t> packet(size, input->Byte());
  if (size >= 2) {
    packet[0] = 0;
    packet[1] = static_cast<uint8_t>(size - 2);
  }
  // One in sixteen lies about its length.
  if (size >= 2 && input->Byte() % 16 == 0) packet[1] = input->Byte();
  return packet;
}

void CheckFront(const uint8_t* packet, uint32_t size, const PacketRingModel& model) {
  const PacketRingModel::Packet* expected = model.Front();
  Check((packet == nullptr) == (expected == nullptr), "there is a packet when one is held");
  Check(size == (expected == nullptr ? 0 : expected->bytes.size()), "the size is the packet's");
  if (expected == nullptr) return;
  Check(std::equal(expected->bytes.begin(), expected->bytes.end(), packet), "the bytes are kept");
}

void FuzzAgainstModel(FuzzInput input, uint32_t capacity, uint32_t max_packet) {
  PacketRingBuf ring(capacity, max_packet);
  PacketRingModel model(capacity, max_packet);
  while (!input.empty()) {
    const uint8_t choice = input.Byte() % 8;
    uint32_t size = 77;
    if (choice < 4) {
      std::vector<uint8_t> packet = PacketOf(&input);
      const bool accepted = ring.PushPacket(packet.data(), static_cast<uint32_t>(packet.size()));
      Check(accepted == model.Push(packet).empty(), "a packet is accepted as documented");
    } else if (choice == 4) {
      const uint8_t* packet = ring.PeekPacket(&size);
      CheckFront(packet, size, model);
    } else if (choice < 7) {
      const uint8_t* packet = ring.PopPacket(&size);
      CheckFront(packet, size, model);
      if (packet != nullptr) model.Pop();
    } else if (input.Byte() % 8 == 0) {
      ring.Flush();
      model.Flush();
    }
    Check(ring.GetFullness() == model.held(), "the fullness is what is held");
  }
}

// A sanitizer sees any access outside the memory; reading each packet makes it look.
void FuzzOverwritten(FuzzInput input, uint32_t capacity, uint32_t max_packet) {
  PacketRingBuf ring(capacity, max_packet);
  volatile uint8_t sum = 0;
  while (!input.empty()) {
    const uint8_t choice = input.Byte() % 4;
    uint32_t size = 77;
    if (choice == 0) {
      std::vector<uint8_t> packet = PacketOf(&input);
      (void)ring.PushPacket(packet.data(), static_cast<uint32_t>(packet.size()));
      continue;
    }
    const uint32_t held = ring.GetFullness();
    uint8_t* packet = choice == 3 ? ring.PopPacket(&size) : ring.PeekPacket(&size);
    Check((packet == nullptr) == (size == 0), "no packet has no size");
    Check(size <= held, "a packet is not larger than what is held");
    for (uint32_t i = 0; i < size; ++i) sum = static_cast<uint8_t>(sum + packet[i]);
    if (packet != nullptr) {
      packet[0] = input.Byte() % 4 == 0 ? 1 : 0;
      packet[1] = input.Byte();
    }
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, std::min<size_t>(size, 4096));
  const uint8_t mode = input.Byte();
  const auto capacity = static_cast<uint32_t>(input.Number(2) % 1024);
  const auto max_packet = static_cast<uint32_t>(input.Byte() + (mode & 2) * 100);
  if ((mode & 1) != 0) {
    FuzzOverwritten(input, capacity, max_packet);
  } else {
    FuzzAgainstModel(input, capacity, max_packet);
  }
  return 0;
}
