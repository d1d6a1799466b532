// How many pictures a replay of a record gives to the MP4 writer, filler included.
// Threads: any.
#ifndef RECORD_PREDICT_REPLAYED_PICTURES_H_
#define RECORD_PREDICT_REPLAYED_PICTURES_H_

#include <cstdint>

#include "record/index/record_files.h"

namespace kxrtc_host {

// Up to the end of the replay, as the files are now. Reads the index, and of the video what a
// replay may drop.
uint64_t CountReplayedPictures(RecordFiles* files);

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_REPLAYED_PICTURES_H_
