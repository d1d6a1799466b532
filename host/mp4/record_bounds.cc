#include "host/mp4/record_bounds.h"

#include "host/mp4/sample_bounds.h"
#include "record/index/record_files.h"
#include "record/predict/record_outline.h"

namespace kxrtc_host {

SampleBounds BoundsOfRecord(const std::string& folder, VideoMode mode) {
  RecordFiles files;
  files.Open(RecordFolderPath(folder));
  return BoundsOf(ReadRecordOutline(&files), mode);
}

}  // namespace kxrtc_host
