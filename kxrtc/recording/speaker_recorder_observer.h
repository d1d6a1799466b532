// The callbacks of a recorder to its host.
#ifndef KXRTC_RECORDING_SPEAKER_RECORDER_OBSERVER_H_
#define KXRTC_RECORDING_SPEAKER_RECORDER_OBSERVER_H_

#include "kx_utility/export.h"

namespace kxrtc {

// Implemented by the host. An exception that leaves it ends the process. Slot order is binary
// interface: append only.
class KX_EXPORT SpeakerRecorderObserver {
 public:
  // Two slots that belong to the host; the recorder never calls them.
  virtual void HostOperation1() {}
  virtual void HostOperation2() {}

  // A file could not be written; the recording is about to stop. Called on the task thread.
  virtual void OnRecordFailed() = 0;

 protected:
  ~SpeakerRecorderObserver() = default;
};

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_SPEAKER_RECORDER_OBSERVER_H_
