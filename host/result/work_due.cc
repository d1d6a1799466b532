#include "host/result/work_due.h"

#include "host/result/mp4_mark.h"
#include "host/result/record_origin.h"

namespace kxrtc_host {

bool IsWorkDue(const RecordGlance& glance, const std::string& output) {
  if (glance.state == RecordState::kEmpty) return false;
  std::string origin;
  return ReadMp4Mark(output, &origin, Mp4MarkCheck::kSize) != Mp4MarkState::kIntact ||
         !IsOriginOfSizes(origin, glance.sizes);
}

}  // namespace kxrtc_host
