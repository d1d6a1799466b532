// What `kxrtc transcode` tells its user: text, or with --json lines of JSON.
#ifndef TOOLS_KXRTC_TRANSCODE_MESSAGES_H_
#define TOOLS_KXRTC_TRANSCODE_MESSAGES_H_

#include <json/value.h>

#include <cstdint>
#include <string>
#include <utility>

#include "host/mp4/writer_status.h"
#include "tools/kxrtc/exit_status.h"
#include "tools/kxrtc/speaker_outputs.h"

namespace kxrtc_tool {

// Threads: one at a time.
class TranscodeMessages {
 public:
  // `output`: the MP4. `quiet`: warnings and failures only; does not count with `json`.
  TranscodeMessages(std::string output, bool quiet, bool json)
      : output_(std::move(output)), quiet_(quiet), json_(json) {}

  void Warning(const std::string& text);

  // Answers `status`.
  ExitStatus Failure(ExitStatus status, const std::string& message);

  void UpToDate(ExitStatus status, const std::string& text) const;

  // The MP4 is complete, and the captions, if they were asked for.
  void Done(ExitStatus status, const kxrtc_host::Mp4WriterStatus& writer,
            const SpeakerOutputs& speakers, int64_t elapsed_us);

  // All that was told: "warnings", the "message" of a failure, and the members of the line of JSON
  // about a complete MP4 that are about the MP4.
  const Json::Value& told() const { return told_; }

 private:
  void PrintDone(const kxrtc_host::Mp4WriterStatus& writer, const SpeakerOutputs& speakers,
                 double seconds) const;

  const std::string output_;
  const bool quiet_;
  const bool json_;
  Json::Value told_{Json::objectValue};
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_TRANSCODE_MESSAGES_H_
