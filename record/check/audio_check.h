// Checks the headers of recorded audio frames. A host may record the output of any encoder; an ADTS
// header gives the format of its frame.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_CHECK_AUDIO_CHECK_H_
#define RECORD_CHECK_AUDIO_CHECK_H_

#include <cstdint>
#include <string>
#include <vector>

#include "files/read_only_file.h"
#include "record/check/adts.h"
#include "record/check/record_summary.h"
#include "record/index/index_walker.h"

namespace kxrtc_host {

class AudioCheck {
 public:
  // Both are borrowed. Writes the audio format and findings of the summary.
  AudioCheck(ReadOnlyFile* file, RecordSummary* summary) : file_(file), summary_(summary) {}

  // For a frame inside the file.
  void OnFrame(const IndexRecord& record);

  // After the last frame.
  void Finish();

 private:
  enum class Head { kRaw, kAdts, kOtherLength, kUnreadable };

  Head ReadHead(const IndexRecord& record, AdtsHeader* header);
  void SettleAdts(int64_t time_us, const AdtsHeader& header);
  void SettleRaw();
  void Judge(const IndexRecord& record);

  ReadOnlyFile* file_;
  RecordSummary* summary_;
  AdtsHeader first_;
  std::vector<IndexRecord> undecided_;  // The frames so far, until one decides the framing of all.
};

// The channel count of the audio, by its headers or the descriptor; 1 if both do not tell.
uint32_t RecordedChannels(const RecordSummary& summary);

// Why the audio of the record cannot be stored in an MP4, judged by the frame headers and the
// descriptor; empty when it can.
std::string AudioRefusal(const RecordSummary& summary);

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_AUDIO_CHECK_H_
