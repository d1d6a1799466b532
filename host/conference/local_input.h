// A file, pipe or device of this machine as input of libavformat. Opening never waits, and reading
// ends when it is interrupted, also where a pipe has no writer.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_CONFERENCE_LOCAL_INPUT_H_
#define HOST_CONFERENCE_LOCAL_INPUT_H_

#include <cstdint>
#include <memory>
#include <string>

#include "host/ffmpeg/ffmpeg_input_handles.h"

namespace kxrtc_host {

class LocalInput {
 public:
  LocalInput() = default;
  ~LocalInput() { Close(); }
  LocalInput(const LocalInput&) = delete;
  LocalInput& operator=(const LocalInput&) = delete;

  // Opens `path`. Pipes and devices are only opened as `live` sources. `interrupt` is asked before
  // and while bytes are read. On false `*error` says why.
  [[nodiscard]] bool Open(const std::string& path, bool live, const AVIOInterruptCB& interrupt,
                          std::string* error);
  void Close();

  AVIOContext* io() const { return io_.get(); }  // Null when nothing is open.

 private:
  struct Free {
    void operator()(AVIOContext* io) const {
      av_freep(&io->buffer);
      avio_context_free(&io);
    }
  };

  bool IsInterrupted() const;
  bool WaitForBytes() const;  // False: interrupted.
  static int Read(void* self, uint8_t* buffer, int size);
  static int64_t Seek(void* self, int64_t offset, int whence);

  int descriptor_ = -1;
  bool regular_ = false;
  AVIOInterruptCB interrupt_ = {};
  std::unique_ptr<AVIOContext, Free> io_;
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_LOCAL_INPUT_H_
