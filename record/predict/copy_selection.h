// Which access units copy mode writes into the MP4: those that a decoder can decode from the file.
// Left out are those before the first key frame, and key frames without parameter sets since the
// attributes changed, with all access units before the next key frame.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_PREDICT_COPY_SELECTION_H_
#define RECORD_PREDICT_COPY_SELECTION_H_

#include "record/stream/access_unit_contents.h"

namespace kxrtc_host {

class CopySelection {
 public:
  enum class Choice {
    kWrite,
    kKeepSets,  // No picture: its parameter sets go with the next picture.
    kDrop,
  };

  // Parameter sets of the stream so far are no longer valid: another stream follows.
  void OnAttributes() { has_sps_ = has_pps_ = false; }

  // The choice for the next access unit.
  Choice Choose(const AccessUnitContents& contents);

 private:
  bool has_sps_ = false;
  bool has_pps_ = false;
  bool waits_for_key_ = true;
};

}  // namespace kxrtc_host

#endif  // RECORD_PREDICT_COPY_SELECTION_H_
