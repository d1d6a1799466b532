// A mark at the end of an MP4 that tells what the file was made of, so that nobody makes it twice.
// It is a box of its own, which players skip (ISO/IEC 14496-12, 4.2: "uuid"). Threads: any.
#ifndef HOST_RESULT_MP4_MARK_H_
#define HOST_RESULT_MP4_MARK_H_

#include <cstdint>
#include <string>

#include "host/result/mp4_box.h"

namespace kxrtc_host {

// The whole box for a finished file of `size` bytes. It also keeps the size, and a digest of the
// file's index. `origin`: any text. False: reading failed, or there is no index.
[[nodiscard]] bool MakeMp4Mark(const Mp4Reader& read, uint64_t size, const std::string& origin,
                               std::string* mark);

enum class Mp4MarkState {
  kNoFile,   // There is no regular file that can be read.
  kNone,     // Nothing that this program made, or not all of it.
  kChanged,  // Something was added, or the index is another one.
  kIntact,   // As it was written, as far as size and index tell: the samples are not read.
};

enum class Mp4MarkCheck {
  kIndex,  // Reads the index of the file once, and no sample.
  kSize,   // Reads the mark only: another index is not noticed.
};

// `*origin` is that of the mark unless the state is kNoFile or kNone.
Mp4MarkState ReadMp4Mark(const std::string& path, std::string* origin,
                         Mp4MarkCheck check = Mp4MarkCheck::kIndex);

}  // namespace kxrtc_host

#endif  // HOST_RESULT_MP4_MARK_H_
