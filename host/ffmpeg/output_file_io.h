// Lets libavformat write into an OutputFile.
#ifndef HOST_FFMPEG_OUTPUT_FILE_IO_H_
#define HOST_FFMPEG_OUTPUT_FILE_IO_H_

#include <memory>

#include "files/output_file.h"
#include "host/ffmpeg/ffmpeg_handles.h"

namespace kxrtc_host {

// A seekable stream from the start of `file`, which outlives it; null: out of memory. Close it only
// with CloseOutputFileIo().
AVIOContext* OpenOutputFileIo(OutputFile* file, bool for_writing);
void CloseOutputFileIo(AVIOContext* io);

struct OutputFileIoClose {
  void operator()(AVIOContext* io) const { CloseOutputFileIo(io); }
};
using OutputFileIoHandle = std::unique_ptr<AVIOContext, OutputFileIoClose>;

// Makes `format` use `file` when it opens its own output for reading. It does so to move the
// samples behind the index.
void LetReadBack(AVFormatContext* format, OutputFile* file);

}  // namespace kxrtc_host

#endif  // HOST_FFMPEG_OUTPUT_FILE_IO_H_
