// The size of the recorded pictures.
// Threads: any; blocks while it reads.
#ifndef RECORD_PREDICT_SOURCE_SIZE_H_
#define RECORD_PREDICT_SOURCE_SIZE_H_

#include <optional>

#include "record/index/record_files.h"
#include "record/stream/picture_parameters.h"

namespace kxrtc_host {

// The size of the largest picture that a replay shows, upright; of two that are equally large the
// wider one. So nothing that was recorded becomes smaller. Pictures of the filler clip do not
// count; none without recorded pictures. Reads the index, and one picture for each change of the
// size.
std::optional<PictureSize> LargestSourceSize(RecordFiles* files);

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_SOURCE_SIZE_H_
