// The library's estimate of an MP4's size, from a record that is only read.
// Threads: any.
#ifndef HOST_RECORD_SIZE_ESTIMATE_H_
#define HOST_RECORD_SIZE_ESTIMATE_H_

#include <cstdint>
#include <optional>
#include <string>

namespace kxrtc_host {

// Bytes of the MP4 in encode mode, audio not counted; none when the record in `folder` holds no
// descriptor that the library takes. The library opens it for writing too, though it writes
// nothing: where that is not permitted, it gets a copy among the system's temporary files.
std::optional<uint64_t> EstimateMp4Bytes(const std::string& folder);

}  // namespace kxrtc_host

#endif  // HOST_RECORD_SIZE_ESTIMATE_H_
