#include "record/predict/copy_selection.h"

namespace kxrtc_host {

CopySelection::Choice CopySelection::Choose(const AccessUnitContents& contents) {
  has_sps_ |= contents.usable_sps;
  has_pps_ |= contents.usable_pps;
  if (!contents.slice) return contents.sps || contents.pps ? Choice::kKeepSets : Choice::kDrop;
  if (contents.idr) waits_for_key_ = !(has_sps_ && has_pps_);
  return waits_for_key_ ? Choice::kDrop : Choice::kWrite;
}

}  // namespace kxrtc_host
