// A byte ring of variable-length packets that hands them out in arrival order without copying.
// Threads: no locks; one producer and one consumer, serialised by the caller.
#ifndef KX_UTILITY_RING_BUFFER_H_
#define KX_UTILITY_RING_BUFFER_H_

#include <cstdint>
#include <memory>

#include "kx_utility/export.h"

namespace kx_utility {

// A packet is the number L in two bytes, big-endian, and L bytes of content: L + 2 bytes in all. It
// is never split. One that starts near the end of the ring continues into a slack area after it,
// and the ring then wraps after that packet, at its limit. Sizes and positions are in bytes.
// Intended: a packet that fills a wrapped ring to its last byte is accepted, and the ring then
// counts as empty: the packets it held are lost.
// Rejections are logged at LS_WARNING and leave the ring unchanged.
class KX_EXPORT PacketRingBuf {
 public:
  // A ring of `capacity` bytes for packets of at most `max_packet` bytes, the length included. If
  // there is no memory for it, or both together exceed 32 bits, the ring refuses every packet
  // that is neither too big nor too small with "the queue is full".
  PacketRingBuf(uint32_t capacity, uint32_t max_packet);
  PacketRingBuf(const PacketRingBuf&) = delete;
  PacketRingBuf& operator=(const PacketRingBuf&) = delete;
  ~PacketRingBuf() = default;

  // Copies in one packet of `size` bytes. False when it is too big, too small, when there is no
  // room, or when its length field is not size - 2.
  bool PushPacket(uint8_t* packet, uint32_t size);

  // The oldest packet and its whole size; null and size 0 when there is none. The packet may be
  // written to, but its length field may not: content whose lengths do not fit together is logged
  // at LS_INFO, gives null and size 0, and stays in the ring.
  // Intended: only PopPacket empties such a ring.
  uint8_t* PeekPacket(uint32_t* size);

  // The same and removes the packet, whose bytes stay until later pushes overwrite them. Content
  // that does not fit together is logged and the ring emptied.
  uint8_t* PopPacket(uint32_t* size);

  // Bytes used.
  uint32_t GetFullness();

  // Empties the ring and starts again at its beginning, with the limit at the capacity.
  void Flush();

 private:
  enum class Front { kNone, kPacket, kInconsistent };

  // The packet at the read position. The size in its length field goes to `*size`.
  Front ReadFront(uint32_t* size);
  uint32_t FreeSpace();
  uint64_t buffer_size() const { return uint64_t{capacity_} + max_packet_; }

  std::unique_ptr<uint8_t[]> buffer_;
  uint32_t capacity_;
  uint32_t max_packet_;
  uint32_t limit_;
  uint32_t read_position_ = 0;
  uint32_t write_position_ = 0;
};

}  // namespace kx_utility

#endif  // KX_UTILITY_RING_BUFFER_H_
