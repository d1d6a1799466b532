// Copies an H.264 byte stream and rewrites the payloads of its sequence parameter sets on the way.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_SPS_REWRITING_COPY_H_
#define HOST_SPS_REWRITING_COPY_H_

#include <cstdint>
#include <string>

#include "host/nal_stream_splitter.h"
#include "host/output_file.h"
#include "kxrtc/media/video/h264/sps_vui_rewriter.h"

namespace kxrtc_host {

// Every byte outside of rewritten payloads is copied as it is, zeros behind a NAL unit included.
class SpsRewritingCopy {
 public:
  // `splitter` is the one that finds the NAL units of the copied stream; borrowed.
  explicit SpsRewritingCopy(const NalStreamSplitter* splitter) : splitter_(splitter) {}

  [[nodiscard]] bool Open(const std::string& path, bool replace_existing);

  // Takes an SPS whose end is known and copies everything up to it. kFailure, the SPS then being
  // copied as it is, also for one that is larger than the splitter keeps. False: writing failed.
  [[nodiscard]] bool OnSps(const StreamNalUnit& sps, kxrtc::SpsVuiRewriter::ParseResult* result);

  // Copies what the splitter has at hand, but for an SPS whose end is not known.
  [[nodiscard]] bool OnWindow();

  // Gives the copy its name. On false nothing is left.
  [[nodiscard]] bool Commit();

  const std::string& error_text() const { return file_.error_text(); }

 private:
  bool Append(const uint8_t* data, uint64_t size);
  bool CopyUpTo(uint64_t end, const StreamNalUnit* kept);

  const NalStreamSplitter* splitter_;
  OutputFile file_;
  uint64_t copied_ = 0;  // Offset in the input.
};

}  // namespace kxrtc_host

#endif  // HOST_SPS_REWRITING_COPY_H_
