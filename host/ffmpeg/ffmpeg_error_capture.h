// Keeps what FFmpeg says about a failure, for the user.
// Threads: each thread has its own; an object belongs to the one that made it.
#ifndef HOST_FFMPEG_FFMPEG_ERROR_CAPTURE_H_
#define HOST_FFMPEG_FFMPEG_ERROR_CAPTURE_H_

#include <string>

namespace kxrtc_host {

// From its beginning to its end; not one inside of another. Needs SendFFmpegLogToLibraryLog().
class FFmpegErrorCapture {
 public:
  FFmpegErrorCapture();
  ~FFmpegErrorCapture();
  FFmpegErrorCapture(const FFmpegErrorCapture&) = delete;
  FFmpegErrorCapture& operator=(const FFmpegErrorCapture&) = delete;

  // The first error, without the address of the object that it is about and without its full stop;
  // empty: none came. The first one tells the cause.
  const std::string& first_error() const { return first_error_; }

  // For the receiver of FFmpeg's log: a whole line.
  static void Note(int level, const char* line);

 private:
  std::string first_error_;
};

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_FFMPEG_ERROR_CAPTURE_H_
