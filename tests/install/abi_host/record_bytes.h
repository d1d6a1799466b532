// Writes a speaker record byte by byte, from docs/speaker_record_format.md alone.
#ifndef TESTS_INSTALL_ABI_HOST_RECORD_BYTES_H_
#define TESTS_INSTALL_ABI_HOST_RECORD_BYTES_H_

#include <cstdint>
#include <string>

namespace abi_host {

// Appends index records and frames. A timestamp is recorder time in microseconds and is written as
// given, also where a real recorder would have moved it on.
class RecordBytes {
 public:
  RecordBytes& Start(int64_t time);
  RecordBytes& Stop(int64_t time);
  RecordBytes& Channel(int64_t time, uint32_t media_type);
  RecordBytes& Attributes(int64_t time, int32_t rotation, uint32_t width, uint32_t height);
  RecordBytes& Video(int64_t time, const std::string& access_unit);
  RecordBytes& Audio(int64_t time, const std::string& frame);
  RecordBytes& Header(uint32_t type, int64_t time);

  // Writes the four files. The folder ends with a separator.
  void Save(const std::string& folder, const std::string& descriptor) const;

  const std::string& index() const { return index_; }

 private:
  void Number(uint64_t value, int bytes);

  std::string index_;
  std::string video_;
  std::string audio_;
};

}  // namespace abi_host

#endif  // TESTS_INSTALL_ABI_HOST_RECORD_BYTES_H_
