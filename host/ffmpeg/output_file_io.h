// Lets libavformat write into an output file.
#ifndef HOST_FFMPEG_OUTPUT_FILE_IO_H_
#define HOST_FFMPEG_OUTPUT_FILE_IO_H_

#include <memory>

#include "files/gathered_output.h"
#include "host/ffmpeg/ffmpeg_handles.h"

namespace kxrtc_host {

// A seekable stream from the start of the file of `output`, which outlives it; null: out of memory.
// While its member `direct` is set, samples in a room of `output` are not copied. Close it only
// with CloseOutputFileIo().
AVIOContext* OpenOutputFileIo(GatheredOutput* output, bool for_writing);
void CloseOutputFileIo(AVIOContext* io);

struct OutputFileIoClose {
  void operator()(AVIOContext* io) const { CloseOutputFileIo(io); }
};
using OutputFileIoHandle = std::unique_ptr<AVIOContext, OutputFileIoClose>;

// Makes `format` use the file of `output` when it opens its own output for reading. It does so to
// move the samples behind the index.
void LetReadBack(AVFormatContext* format, GatheredOutput* output);

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_OUTPUT_FILE_IO_H_
