// The library's estimate of an MP4's size, from a record that is only read.
// Threads: any.
#ifndef RECORD_PREDICT_SIZE_ESTIMATE_H_
#define RECORD_PREDICT_SIZE_ESTIMATE_H_

#include <cstdint>
#include <optional>

#include "files/read_only_file.h"
#include "record/parts/part_request.h"
#include "record/predict/picture_choice.h"

namespace kxrtc_host {

// Bytes of `parts` of the MP4 in encode mode, audio not counted; none when the library does not
// take the descriptor, or the counts in it are beyond 64 bits. `choice` has no quality: its bit
// rate would be unknown.
std::optional<uint64_t> EstimateMp4Bytes(const ReadOnlyFile& descriptor,
                                         const PictureChoice& choice = {},
                                         const PartRequest& parts = {});

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_SIZE_ESTIMATE_H_
