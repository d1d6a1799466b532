// Gives an H.264 sequence parameter set a bitstream restriction with which a decoder outputs each
// frame at once (ITU-T H.264, annex E): max_num_reorder_frames 0 and max_dec_frame_buffering equal
// to max_num_ref_frames. Everything else is copied bit by bit.
// Threads: stateless, any.
#ifndef KXRTC_MEDIA_VIDEO_H264_SPS_VUI_REWRITER_H_
#define KXRTC_MEDIA_VIDEO_H264_SPS_VUI_REWRITER_H_

#include <cstdint>

#include "kx_utility/bitbuffer.h"
#include "kx_utility/export.h"
#include "kx_utility/raw_buffer.h"
#include "kxrtc/media/video/h264/sps_parser.h"

namespace kxrtc {

class KX_EXPORT SpsVuiRewriter {
 public:
  // The values are binary interface.
  enum ParseResult : int32_t {
    kFailure = 0,       // The SPS could not be parsed or copied.
    kPocTypeOk = 1,     // pic_order_cnt_type is 2 or more: nothing to rewrite.
    kVuiOk = 2,         // The VUI has a suitable bitstream restriction already.
    kVuiRewritten = 3,  // A rewritten NAL payload was appended.
  };

  // Parses `length` bytes of NAL payload of an SPS and rewrites them where needed.
  // `*sps` and `sps_parsed` are set as soon as the SPS parses up to its VUI, also on kFailure. Only
  // kVuiRewritten appends to `destination`, a NAL payload without header byte and start code; a
  // null `destination` is logged and then gets nothing. `sps` must not be null. Every failure is
  // logged.
  // Intended: up to four whole bytes after the VUI are dropped, see CopyRemainingBits().
  [[nodiscard]] static ParseResult ParseAndRewriteSps(const uint8_t* buffer, uint32_t length,
                                                      SpsParser::SpsState* sps, bool& sps_parsed,
                                                      kx_utility::RawBuffer* destination);
};

// The steps of the rewriting. Each copies from the reader's position to the writer's, moves both,
// and on false, which a missing bit or a full destination causes, leaves both at the failing step
// and has logged its expression.

// Copies the VUI, if `sps` says that there is one, from its first bit; the destination stands on
// vui_parameters_present_flag and must not be null. Sets the result to kVuiOk, and returns before
// the last elements are written, or to kVuiRewritten.
[[nodiscard]] KX_EXPORT bool CopyAndRewriteVui(const SpsParser::SpsState& sps,
                                               kx_utility::BitBuffer* source,
                                               kx_utility::BitBufferWriter* destination,
                                               SpsVuiRewriter::ParseResult* out_vui_rewritten);

// Copies hrd_parameters(); with a null destination it only reads.
[[nodiscard]] KX_EXPORT bool CopyHrdParameters(kx_utility::BitBuffer* source,
                                               kx_utility::BitBufferWriter* destination);

// Writes the elements after a bitstream_restriction_flag of 1.
[[nodiscard]] KX_EXPORT bool AddBitstreamRestriction(kx_utility::BitBufferWriter* destination,
                                                     uint32_t max_num_ref_frames);

// Copies what follows the VUI; with a null destination it only reads.
// Intended: once the source is byte-aligned, the last 1 to 32 of the remaining bits are consumed
// and not written.
[[nodiscard]] KX_EXPORT bool CopyRemainingBits(kx_utility::BitBuffer* source,
                                               kx_utility::BitBufferWriter* destination);

}  // namespace kxrtc

#endif  // KXRTC_MEDIA_VIDEO_H264_SPS_VUI_REWRITER_H_
