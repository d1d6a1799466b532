// Whether the MP4 of a record still has to be made.
// Threads: any; blocks while it reads.
#ifndef HOST_RESULT_WORK_DUE_H_
#define HOST_RESULT_WORK_DUE_H_

#include <string>

#include "record/archive/record_glance.h"

namespace kxrtc_host {

class Manifest;

// False for a record without media, and for one whose MP4 in `output` is whole and was made of
// files of the same sizes. The options that it was made with do not count. Where there is a
// manifest, it must also tell that nothing is left to do for that MP4, and nobody may be at work on
// it or have been killed at it.
bool IsWorkDue(const RecordGlance& glance, const std::string& output,
               const Manifest* manifest = nullptr);

}  // namespace kxrtc_host

#endif  // HOST_RESULT_WORK_DUE_H_
