#include "record/predict/replay_end.h"

#include <cinttypes>

#include "record/index/record_text.h"

namespace kxrtc_host {
namespace {

const char* ReasonOf(RecordFault fault, uint32_t type) {
  switch (fault) {
    case RecordFault::kNoSession:
      return "a session without a start record";
    case RecordFault::kOpenSession:
      return "a start record inside a session";
    case RecordFault::kNoChannel:
      return type == kxrtc::kVideoData ? "a video frame without a video channel"
                                       : "attributes without a video channel";
    case RecordFault::kMissingFrame:
      return "the frame is not in its file";
    case RecordFault::kRepeatedBytes:
      return "the frames name the same bytes again and again, more than their file has";
    case RecordFault::kNone:
      break;
  }
  return "";
}

}  // namespace

ReplayEnd EndOf(const IndexRecord& record, RecordFault fault, uint32_t max_frame_bytes) {
  if (fault != RecordFault::kNone) {
    return {fault == RecordFault::kMissingFrame ? RecordEnd::kFrameMissing : RecordEnd::kDamaged,
            Text("at index offset %" PRIu64 ": %s", record.offset,
                 ReasonOf(fault, record.header.type))};
  }
  return {RecordEnd::kFrameTooLarge,
          Text("at index offset %" PRIu64 ": a frame has %s, the limit is %u", record.offset,
               CountText(record.data.size, "byte").c_str(), max_frame_bytes)};
}

ReplayEnd EndAtStep(IndexWalker::Step step, uint64_t offset, bool in_session, uint64_t sessions) {
  switch (step) {
    case IndexWalker::Step::kGarbage:
      return {RecordEnd::kDamaged,
              Text("at index offset %" PRIu64 ": bytes that are not a record", offset)};
    case IndexWalker::Step::kChanged:
      return {RecordEnd::kUnreadable,
              "the index became shorter while it was read, or its disk "
              "failed"};
    case IndexWalker::Step::kTruncated:
      return {RecordEnd::kCutShort, "the index ends inside a record"};
    default:
      break;
  }
  if (in_session) return {RecordEnd::kCutShort, "the index ends without a stop record"};
  if (sessions == 0) return {RecordEnd::kCutShort, "the index contains no session"};
  return {};
}

}  // namespace kxrtc_host
