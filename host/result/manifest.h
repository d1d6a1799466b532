// What became of the MP4s of an archive: a line of JSON for each outcome, in one file for all
// processes and machines that work on the archive (docs/archive.md).
// Threads: an object belongs to one thread at a time; blocks while it reads and writes.
#ifndef HOST_RESULT_MANIFEST_H_
#define HOST_RESULT_MANIFEST_H_

#include <json/value.h>

#include <map>
#include <string>

#include "files/shared_lines.h"

namespace kxrtc_host {

enum class ManifestOutcome {
  kMade,
  kFound,       // It was complete before, and no line told of it.
  kFailed,      // There is no MP4, or not all that belongs to it.
  kHookFailed,  // The MP4 is complete; the command to run for it failed.
};

// "made", "found", "failed" or "hook_failed".
const char* ManifestOutcomeName(ManifestOutcome outcome);

// A short name of what an MP4 was made of, RecordOrigin(), for "made_of" of a line.
std::string OriginName(const std::string& origin);

class Manifest {
 public:
  // False: see error_text().
  [[nodiscard]] bool Open(const std::string& path, SharedLines::Access access);

  // Reads what is told of all outputs, and then what is told from now on is not known.
  [[nodiscard]] bool ReadAll();
  // Reads what is told of `output`.
  [[nodiscard]] bool ReadOf(const std::string& output, const IsWanted& is_wanted);

  // After one of these: whether the latest line of `output` tells that it was made of this and that
  // nothing is left to do for it.
  bool IsSettled(const std::string& output, const std::string& origin) const;

  // Adds the line. Its members "output", "document" and "version" come from here.
  [[nodiscard]] bool Append(const std::string& output, Json::Value line, const IsWanted& is_wanted);

  const std::string& error_text() const { return error_text_; }

 private:
  // How lines name it: by the path below the manifest's folder, so that the folder may be moved.
  std::string NameOf(const std::string& output) const;
  void Note(const std::string& line);
  bool Fail();

  SharedLines lines_;
  std::string folder_;
  std::map<std::string, std::string> settled_;  // By the output's name, what it was made of.
  std::string error_text_;
};

}  // namespace kxrtc_host

#endif  // HOST_RESULT_MANIFEST_H_
