#include "record/bundle/index_mask.h"

#include <algorithm>

namespace kxrtc_host {

bool IndexMask::Next(MaskStretch* stretch) {
  using Step = IndexWalker::Step;
  IndexRecord record;
  const Step step = walker_.Next(&record);
  stretch->begin = record.offset;
  stretch->zeros = 0;
  if (step == Step::kRecord) {
    stretch->bytes.assign(record.bytes.begin(), record.bytes.begin() + record.size);
    return true;
  }
  if (step != Step::kGarbage && step != Step::kTruncated) return false;
  stretch->bytes.resize(std::min<uint64_t>(sizeof(record.header.type), walker_.skipped_bytes()));
  const size_t size = index_->Read(record.offset, stretch->bytes.data(), stretch->bytes.size());
  return size == stretch->bytes.size();
}

}  // namespace kxrtc_host
