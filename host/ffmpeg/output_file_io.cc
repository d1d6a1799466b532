#include "host/ffmpeg/output_file_io.h"

#include <cerrno>
#include <cstdio>
#include <new>

namespace kxrtc_host {
namespace {

constexpr int kBufferSize = 1024 * 1024;

struct Position {
  GatheredOutput* output;
  uint64_t offset;
};

int SystemError(const OutputFile& file) {
  return AVERROR(file.error_number() != 0 ? file.error_number() : EIO);
}

int WritePacket(void* opaque, uint8_t* data, int size) {
  auto* position = static_cast<Position*>(opaque);
  if (!position->output->Write(position->offset, data, static_cast<uint64_t>(size))) {
    return SystemError(*position->output->file());
  }
  position->offset += static_cast<uint64_t>(size);
  return size;
}

int ReadPacket(void* opaque, uint8_t* data, int size) {
  auto* position = static_cast<Position*>(opaque);
  OutputFile* const file = position->output->file();
  const uint64_t left = file->size() - position->offset;
  if (left == 0) return AVERROR_EOF;
  const uint64_t count = left < static_cast<uint64_t>(size) ? left : static_cast<uint64_t>(size);
  if (!file->ReadAt(position->offset, data, count)) return SystemError(*file);
  position->offset += count;
  return static_cast<int>(count);
}

int64_t Seek(void* opaque, int64_t offset, int whence) {
  auto* position = static_cast<Position*>(opaque);
  const OutputFile& file = *position->output->file();
  if (!position->output->Flush()) return SystemError(file);
  const auto size = static_cast<int64_t>(file.size());
  switch (whence & ~AVSEEK_FORCE) {
    case AVSEEK_SIZE:
      return size;
    case SEEK_CUR:
      offset += static_cast<int64_t>(position->offset);
      break;
    case SEEK_END:
      offset += size;
      break;
    default:
      break;
  }
  if (offset < 0) return AVERROR(EINVAL);
  position->offset = static_cast<uint64_t>(offset);
  return offset;
}

int OpenForReadingBack(AVFormatContext* format, AVIOContext** io, const char* /*url*/, int flags,
                       AVDictionary** /*options*/) {
  if ((flags & AVIO_FLAG_WRITE) != 0) return AVERROR(EPERM);
  auto* output = static_cast<GatheredOutput*>(format->opaque);
  if (!output->Flush()) return SystemError(*output->file());
  *io = OpenOutputFileIo(output, false);
  return *io != nullptr ? 0 : AVERROR(ENOMEM);
}

int CloseAfterReadingBack(AVFormatContext* /*format*/, AVIOContext* io) {
  CloseOutputFileIo(io);
  return 0;
}

}  // namespace

AVIOContext* OpenOutputFileIo(GatheredOutput* output, bool for_writing) {
  auto* position = new (std::nothrow) Position{output, 0};
  auto* buffer = static_cast<uint8_t*>(av_malloc(kBufferSize));
  AVIOContext* io = position == nullptr || buffer == nullptr
                        ? nullptr
                        : avio_alloc_context(buffer, kBufferSize, for_writing ? 1 : 0, position,
                                             for_writing ? nullptr : ReadPacket,
                                             for_writing ? WritePacket : nullptr, Seek);
  if (io == nullptr) {
    av_free(buffer);
    delete position;
  }
  return io;
}

void CloseOutputFileIo(AVIOContext* io) {
  if (io == nullptr) return;
  delete static_cast<Position*>(io->opaque);
  av_freep(&io->buffer);
  avio_context_free(&io);
}

void LetReadBack(AVFormatContext* format, GatheredOutput* output) {
  format->opaque = output;
  format->io_open = OpenForReadingBack;
  format->io_close2 = CloseAfterReadingBack;
}

}  // namespace kxrtc_host
