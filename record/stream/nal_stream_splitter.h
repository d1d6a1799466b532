// Finds the NAL units of a byte stream that arrives in blocks. Memory does not depend on the length
// of the stream or of a NAL unit.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_STREAM_NAL_STREAM_SPLITTER_H_
#define RECORD_STREAM_NAL_STREAM_SPLITTER_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "kxrtc/media/video/h264/nal_unit.h"

namespace kxrtc_host {

// One NAL unit of the stream; its extent is that of kxrtc::H264::NaluIndex.
struct StreamNalUnit {
  uint64_t start_offset = 0;   // First byte of the start code.
  uint64_t header_offset = 0;  // The NAL header byte.
  uint64_t size = 0;           // From the header byte on; unknown (0) while the unit is open.
  std::vector<uint8_t> head;   // Its first bytes, header byte included, at most kMaxHead.

  static constexpr size_t kMaxHead = 64 * 1024;

  uint8_t type() const { return kxrtc::H264::ParseNaluType(head[0]); }
  bool IsWhole() const { return head.size() == size; }
};

class NalStreamSplitter {
 public:
  // Gets each NAL unit when its end is known, in stream order; false stops the splitting.
  using Handler = std::function<bool(const StreamNalUnit&)>;
  explicit NalStreamSplitter(Handler handler) : handler_(std::move(handler)) {}

  // Takes the next bytes of the stream. False when the handler returned false.
  [[nodiscard]] bool Push(const uint8_t* data, size_t size);

  // Ends the stream, and with it the last NAL unit.
  [[nodiscard]] bool Finish();

  // The current bytes, those of the last Push() and a few before, and the offset of the first.
  const std::vector<uint8_t>& window() const { return window_; }
  uint64_t window_start() const { return window_start_; }
  uint64_t end() const { return window_start_ + window_.size(); }

  // The NAL unit whose end is not known yet, null before the first start code.
  const StreamNalUnit* open_unit() const { return is_open_ ? &unit_ : nullptr; }

 private:
  bool CloseAt(uint64_t end);
  void ExtendHead(uint64_t end);

  Handler handler_;
  std::vector<uint8_t> window_;
  uint64_t window_start_ = 0;
  uint64_t searched_ = 0;  // Start codes before this are already known.
  bool is_open_ = false;
  StreamNalUnit unit_;
};

}  // namespace kxrtc_host

#endif  // RECORD_STREAM_NAL_STREAM_SPLITTER_H_
