#include "host/result/work_due.h"

#include "files/output_lock.h"
#include "host/result/manifest.h"
#include "host/result/mp4_mark.h"
#include "host/result/record_origin.h"

namespace kxrtc_host {

bool IsWorkDue(const RecordGlance& glance, const std::string& output, const Manifest* manifest) {
  if (glance.state == RecordState::kEmpty) return false;
  std::string origin;
  return ReadMp4Mark(output, &origin, Mp4MarkCheck::kSize) != Mp4MarkState::kIntact ||
         !IsOriginOfSizes(origin, glance.sizes) ||
         (manifest != nullptr &&
          (OutputLock::IsThere(output) || !manifest->IsSettled(output, origin)));
}

}  // namespace kxrtc_host
