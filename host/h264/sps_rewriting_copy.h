// Copies an H.264 byte stream and rewrites the payloads of its sequence parameter sets.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_H264_SPS_REWRITING_COPY_H_
#define HOST_H264_SPS_REWRITING_COPY_H_

#include <cstdint>
#include <string>

#include "files/output_file.h"
#include "kxrtc/media/video/h264/sps_vui_rewriter.h"
#include "record/stream/nal_stream_splitter.h"

namespace kxrtc_host {

// Every byte outside of rewritten payloads is copied unchanged, also zeros after a NAL unit.
class SpsRewritingCopy {
 public:
  // `splitter` is the one that finds the NAL units of the copied stream; borrowed.
  explicit SpsRewritingCopy(const NalStreamSplitter* splitter) : splitter_(splitter) {}

  // `is_wanted` is asked before each piece that is written or synced; false makes the call fail.
  [[nodiscard]] bool Open(const std::string& path, bool replace_existing, IsWanted is_wanted);

  // Takes an SPS whose end is known, and copies everything up to its end. kFailure: the SPS is
  // copied unchanged, also when it is larger than the splitter keeps. False: writing failed.
  [[nodiscard]] bool OnSps(const StreamNalUnit& sps, kxrtc::SpsVuiRewriter::ParseResult* result);

  // Copies the bytes of the splitter, except an SPS whose end is not known.
  [[nodiscard]] bool OnWindow();

  // Gives the copy its name. On false there is no copy.
  [[nodiscard]] bool Commit();

  const OutputFile& file() const { return file_; }

 private:
  bool Append(const uint8_t* data, uint64_t size);
  bool CopyUpTo(uint64_t end, const StreamNalUnit* kept);

  const NalStreamSplitter* splitter_;
  OutputFile file_;
  uint64_t copied_ = 0;  // Offset in the input.
};

}  // namespace kxrtc_host

#endif  // HOST_H264_SPS_REWRITING_COPY_H_
