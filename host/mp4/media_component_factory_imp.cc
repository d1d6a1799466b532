#include "host/mp4/media_component_factory_imp.h"

#include "host/mp4/mp4_sink_writer_imp.h"

namespace kxrtc_host {

MediaComponentFactoryImp::MediaComponentFactoryImp(const Mp4SinkWriterOptions& options)
    : options_(options) {}

MediaComponentFactoryImp::~MediaComponentFactoryImp() = default;

bool MediaComponentFactoryImp::CreateMp4SinkWriter(kxrtc::Mp4SinkWriter** writer,
                                                   bool /*is_desktop*/) {
  const std::lock_guard<std::mutex> guard(lock_);
  if (writer_ != nullptr) return false;
  status_ = {};
  writer_ = std::make_unique<Mp4SinkWriterImp>(options_);
  *writer = writer_.get();
  return true;
}

void MediaComponentFactoryImp::ReleaseMp4SinkWriter(kxrtc::Mp4SinkWriter* writer) {
  const std::lock_guard<std::mutex> guard(lock_);
  if (writer_ == nullptr || writer != writer_.get()) return;
  status_ = writer_->status();
  writer_.reset();
}

void MediaComponentFactoryImp::Discard() {
  const std::lock_guard<std::mutex> guard(lock_);
  if (writer_ != nullptr) writer_->Discard();
}

int64_t MediaComponentFactoryImp::media_time_us() const {
  const std::lock_guard<std::mutex> guard(lock_);
  return writer_ != nullptr ? writer_->media_time_us() : 0;
}

uint64_t MediaComponentFactoryImp::video_samples() const {
  const std::lock_guard<std::mutex> guard(lock_);
  return writer_ != nullptr ? writer_->video_samples() : 0;
}

}  // namespace kxrtc_host
