// The reference MP4 writer's factory, as a program sees it that does not link FFmpeg.
#ifndef HOST_MP4_MP4_FACTORY_H_
#define HOST_MP4_MP4_FACTORY_H_

#include <cstdint>

#include "host/mp4/writer_status.h"
#include "kxrtc/recording/media_component_factory.h"

namespace kxrtc_host {

// The operations, and who may call them when, are those of MediaComponentFactoryImp.
class Mp4Factory : public kxrtc::MediaComponentFactory {
 public:
  virtual ~Mp4Factory() = default;
  virtual void Discard() = 0;
  virtual int64_t media_time_us() const = 0;
  virtual uint64_t video_samples() const = 0;
  virtual const Mp4WriterStatus& status() const = 0;
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_MP4_FACTORY_H_
