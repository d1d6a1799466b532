// The factory through which a host supplies its media components.
#ifndef KXRTC_RECORDING_MEDIA_COMPONENT_FACTORY_H_
#define KXRTC_RECORDING_MEDIA_COMPONENT_FACTORY_H_

#include "kx_utility/export.h"

namespace kxrtc {

class Mp4SinkWriter;

// Host-implemented; borrowed from StartTranscoding() until the transcoder is stopped or released.
// Threads: called on the control thread only. No function may throw: an exception that leaves one
// ends the process. Slot order is binary interface: append only.
class KX_EXPORT MediaComponentFactory {
 public:
  // Four slots that belong to the host; the library never calls them.
  virtual void HostOperation1() {}
  virtual void HostOperation2() {}
  virtual void HostOperation3() {}
  virtual void HostOperation4() {}

  // Stores a writer for one output file. `is_desktop`: the record contains a desktop share. False,
  // or a null writer: there is none. What is stored beside false is neither used nor released.
  virtual bool CreateMp4SinkWriter(Mp4SinkWriter** writer, bool is_desktop) = 0;

  // Takes back a writer of this factory, after its StopStreaming().
  virtual void ReleaseMp4SinkWriter(Mp4SinkWriter* writer) = 0;

 protected:
  ~MediaComponentFactory() = default;
};

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_MEDIA_COMPONENT_FACTORY_H_
