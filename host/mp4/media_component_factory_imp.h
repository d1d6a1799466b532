// Supplies the reference MP4 writer to a transcoder and keeps what became of it.
#ifndef HOST_MP4_MEDIA_COMPONENT_FACTORY_IMP_H_
#define HOST_MP4_MEDIA_COMPONENT_FACTORY_IMP_H_

#include <cstdint>
#include <memory>
#include <mutex>

#include "host/mp4/writer_options.h"
#include "host/mp4/writer_status.h"
#include "kx_utility/export.h"
#include "kxrtc/recording/media_component_factory.h"

namespace kxrtc_host {

class Mp4SinkWriterImp;

// One writer at a time, with the options given here. Lives until the transcoder that it was given
// to is stopped. Threads: the factory's own operations as MediaComponentFactory says; Discard(),
// media_time_us() and video_samples() any; status() the control thread.
class KX_EXPORT MediaComponentFactoryImp final : public kxrtc::MediaComponentFactory {
 public:
  explicit MediaComponentFactoryImp(const Mp4SinkWriterOptions& options);
  ~MediaComponentFactoryImp();

  bool CreateMp4SinkWriter(kxrtc::Mp4SinkWriter** writer, bool is_desktop) override;
  void ReleaseMp4SinkWriter(kxrtc::Mp4SinkWriter* writer) override;

  // The present writer will remove its file when it is stopped, instead of finishing it: called
  // before StopTranscoding() by a host whose user changed their mind. Without a writer: nothing.
  void Discard();

  // How far the present writer has come, microseconds of the file; 0 without one.
  int64_t media_time_us() const;

  // How many video samples the present writer has taken; 0 without one.
  uint64_t video_samples() const;

  // The outcome of the last writer that was released, i.e. after StopTranscoding().
  const Mp4WriterStatus& status() const { return status_; }

 private:
  const Mp4SinkWriterOptions options_;
  mutable std::mutex lock_;  // Guards writer_, the pointer.
  std::unique_ptr<Mp4SinkWriterImp> writer_;
  Mp4WriterStatus status_;
};

}  // namespace kxrtc_host

#endif  // HOST_MP4_MEDIA_COMPONENT_FACTORY_IMP_H_
