// The names of the MP4s of an archive.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_ARCHIVE_OUTPUT_NAME_H_
#define RECORD_ARCHIVE_OUTPUT_NAME_H_

#include <map>
#include <string>

namespace kxrtc_host {

class OutputNames {
 public:
  // Longest name of a file or folder, in bytes: programs add something to it for a time.
  static constexpr size_t kMaxNameBytes = 200;

  // The path of the MP4 of the record at `path`, without a folder before it: the same folders, and
  // the name of the record with ".mp4". Control characters, bytes that are not UTF-8 and <>:"|?\*
  // become "_". A name that is changed or cut, or that could be one of an MP4 or of a changed name,
  // ends in a digest of what it was. Empty: another record has that path already, which only names
  // that were made for it bring about.
  std::string Of(const std::string& path);

 private:
  std::map<std::string, std::string> changed_;  // By output, the path of the record.
};

}  // namespace kxrtc_host

#endif  // RECORD_ARCHIVE_OUTPUT_NAME_H_
