// Writes a tar archive, compressed by gzip, that names neither user nor machine nor time: the same
// files give the same bytes.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_BUNDLE_TAR_GZ_ARCHIVE_H_
#define HOST_BUNDLE_TAR_GZ_ARCHIVE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "files/output_file.h"
#include "record/bundle/archive_sink.h"

struct archive;

namespace kxrtc_host {

class TarGzArchive final : public ArchiveSink {
 public:
  // `output` is borrowed and open; the archive is all that is in it. The caller commits it.
  explicit TarGzArchive(OutputFile* output);

  [[nodiscard]] bool Begin(const ArchiveEntry& entry) override;
  [[nodiscard]] bool Write(const void* data, size_t size) override;
  [[nodiscard]] bool Skip(uint64_t size) override;
  [[nodiscard]] bool Finish() override;

  const std::string& error_text() const override { return error_text_; }

 private:
  struct Close {
    void operator()(archive* writer) const;
  };

  bool Check(int result);

  OutputFile* output_;
  uint64_t position_ = 0;
  std::unique_ptr<archive, Close> writer_;
  std::string error_text_;
  std::vector<uint8_t> zeros_;
};

// Of the library in use, with those that it uses itself.
std::string ArchiveLibraryVersion();

}  // namespace kxrtc_host

#endif  // HOST_BUNDLE_TAR_GZ_ARCHIVE_H_
