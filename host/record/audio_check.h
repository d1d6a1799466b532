// Looks at the head of recorded audio frames. A host may record any encoder's output; frames with
// an ADTS header tell their own format.
// Threads: an object belongs to one thread at a time.
#ifndef HOST_RECORD_AUDIO_CHECK_H_
#define HOST_RECORD_AUDIO_CHECK_H_

#include <cstdint>
#include <string>
#include <vector>

#include "host/record/index_walker.h"
#include "host/record/record_file.h"
#include "host/record/record_summary.h"
#include "host/shared/adts.h"

namespace kxrtc_host {

class AudioCheck {
 public:
  // Both are borrowed; the audio format and findings of the summary are written.
  AudioCheck(RecordFile* file, RecordSummary* summary) : file_(file), summary_(summary) {}

  // For a frame inside the file.
  void OnFrame(const IndexRecord& record);

  // Behind the last frame.
  void Finish();

 private:
  enum class Head { kRaw, kAdts, kOtherLength, kUnreadable };

  Head ReadHead(const IndexRecord& record, AdtsHeader* header);
  void SettleAdts(int64_t time_us, const AdtsHeader& header);
  void SettleRaw();
  void Judge(const IndexRecord& record);

  RecordFile* file_;
  RecordSummary* summary_;
  AdtsHeader first_;
  std::vector<IndexRecord> undecided_;  // The frames so far, until one settles how all are framed.
};

// Why the audio of the record cannot be kept in an MP4 file; empty when it can, as far as the heads
// of its frames and the descriptor tell.
std::string AudioRefusal(const RecordSummary& summary);

}  // namespace kxrtc_host

#endif  // HOST_RECORD_AUDIO_CHECK_H_
