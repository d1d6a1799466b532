// Lets libavformat write into an OutputFile.
#ifndef HOST_OUTPUT_FILE_IO_H_
#define HOST_OUTPUT_FILE_IO_H_

#include <memory>

#include "host/ffmpeg_handles.h"
#include "host/output_file.h"

namespace kxrtc_host {

// A seekable stream from the start of `file`, which outlives it; null when memory runs out. Closed
// with CloseOutputFileIo() only.
AVIOContext* OpenOutputFileIo(OutputFile* file, bool for_writing);
void CloseOutputFileIo(AVIOContext* io);

struct OutputFileIoClose {
  void operator()(AVIOContext* io) const { CloseOutputFileIo(io); }
};
using OutputFileIoHandle = std::unique_ptr<AVIOContext, OutputFileIoClose>;

// Makes `format` open its own output file for reading through `file`, which it does to move the
// samples behind the index.
void LetReadBack(AVFormatContext* format, OutputFile* file);

}  // namespace kxrtc_host

#endif  // HOST_OUTPUT_FILE_IO_H_
