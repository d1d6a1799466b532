// What `kxrtc transcode` makes of the speaker timeline beside a record: tags of the MP4, and a file
// of captions.
#ifndef TOOLS_KXRTC_SPEAKER_OUTPUTS_H_
#define TOOLS_KXRTC_SPEAKER_OUTPUTS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "files/output_file.h"
#include "host/mp4/mp4_tags.h"
#include "host/mp4/writer_status.h"
#include "record/predict/speaker_turns.h"
#include "record/speakers/chapters.h"

namespace kxrtc_tool {

struct SpeakerOutputOptions {
  bool chapters = true;
  bool metadata = true;
  int64_t shortest_chapter_us = kxrtc_host::kDefaultShortestChapterUs;
  std::string captions;  // The file; empty: none.
};

// Threads: one at a time.
class SpeakerOutputs {
 public:
  explicit SpeakerOutputs(SpeakerOutputOptions options) : options_(std::move(options)) {}

  // Reads the timeline of the record in `folder`, if an output needs it. Call once, first.
  void Read(const std::string& folder);

  // Captions are wanted, and there are none that were written after the MP4 `output`.
  bool LacksCaptions(const std::string& output) const;

  // Which file the captions may replace.
  enum class Replace { kNothing, kCaptions, kAnything };

  // Why the captions of the MP4 `output` cannot be begun, in one line with the file; empty: they
  // can, or nobody wants any. `folder`: of the record.
  std::string OpenCaptions(const std::string& folder, const std::string& output, Replace what,
                           kxrtc_host::IsWanted is_wanted);

  // Writes the captions of an MP4 that was written. False: see error_text().
  [[nodiscard]] bool WriteCaptions(const kxrtc_host::Mp4WriterStatus& writer, bool sync);
  const std::string& error_text() const { return captions_.error_text(); }
  // Captions that were written may still be lost, and why; empty: they are safe.
  const std::string& warning_text() const { return captions_.warning_text(); }

  kxrtc_host::Mp4Tags Tags() const;

  // What the user must know of the timeline.
  std::vector<std::string> Warnings() const;

  const std::string& captions_path() const { return options_.captions; }
  std::optional<size_t> cues() const { return cues_; }  // Of the captions that were written.

 private:
  const SpeakerOutputOptions options_;
  kxrtc_host::SpeakerTurns turns_;
  kxrtc_host::OutputFile captions_;
  std::optional<size_t> cues_;
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_SPEAKER_OUTPUTS_H_
