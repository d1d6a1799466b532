#include "host/h264/sps_rewriting_copy.h"

#include <algorithm>
#include <utility>

#include "kx_utility/raw_buffer.h"
#include "kxrtc/media/video/h264/nal_unit.h"

namespace kxrtc_host {

using kxrtc::SpsVuiRewriter;

bool SpsRewritingCopy::Open(const std::string& path, bool replace_existing, IsWanted is_wanted) {
  file_.set_is_wanted(std::move(is_wanted));
  return file_.Open(path, replace_existing);
}

bool SpsRewritingCopy::Append(const uint8_t* data, uint64_t size) {
  return size == 0 || file_.WriteAt(file_.size(), data, size);
}

bool SpsRewritingCopy::CopyUpTo(uint64_t end, const StreamNalUnit* kept) {
  // Bytes before the window are the start of an SPS that was kept back.
  if (copied_ < std::min(end, splitter_->window_start())) {
    if (kept == nullptr) return false;
    const uint64_t head_end = std::min(end, kept->header_offset + kept->head.size());
    if (!Append(kept->head.data() + (copied_ - kept->header_offset), head_end - copied_)) {
      return false;
    }
    copied_ = head_end;
  }
  if (copied_ >= end) return true;
  const uint8_t* next = splitter_->window().data() + (copied_ - splitter_->window_start());
  if (!Append(next, end - copied_)) return false;
  copied_ = end;
  return true;
}

bool SpsRewritingCopy::OnSps(const StreamNalUnit& sps, SpsVuiRewriter::ParseResult* result) {
  const uint64_t end = sps.header_offset + sps.size;
  *result = SpsVuiRewriter::ParseResult::kFailure;
  kx_utility::RawBuffer rewritten;
  // Zeros at the end belong to the byte stream, not to the NAL unit.
  size_t size = sps.head.size();
  while (size > 1 && sps.head[size - 1] == 0) --size;
  if (sps.IsWhole()) {
    kxrtc::SpsParser::SpsState state;
    bool parsed = false;
    *result = SpsVuiRewriter::ParseAndRewriteSps(
        sps.head.data() + 1, static_cast<uint32_t>(size - 1), &state, parsed, &rewritten);
  }
  if (*result == SpsVuiRewriter::ParseResult::kVuiRewritten) {
    if (!CopyUpTo(sps.header_offset + 1, &sps) || !Append(rewritten.data(), rewritten.size())) {
      return false;
    }
    copied_ = sps.header_offset + size;
  }
  return CopyUpTo(end, &sps);
}

bool SpsRewritingCopy::OnWindow() {
  const StreamNalUnit* open = splitter_->open_unit();
  uint64_t end = splitter_->end();
  if (open != nullptr && open->type() == kxrtc::H264::kNaluTypeSps &&
      open->head.size() < StreamNalUnit::kMaxHead) {
    end = open->header_offset + 1;
  }
  return CopyUpTo(end, open);
}

bool SpsRewritingCopy::Commit() { return file_.Commit(true); }

}  // namespace kxrtc_host
