// Keeps the records of an index. Of bytes that are not a record, the type stays that `kxrtc verify`
// names.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_BUNDLE_INDEX_MASK_H_
#define RECORD_BUNDLE_INDEX_MASK_H_

#include "files/is_wanted.h"
#include "files/read_only_file.h"
#include "record/bundle/file_mask.h"
#include "record/index/index_walker.h"

namespace kxrtc_host {

class IndexMask final : public FileMask {
 public:
  // `index` is borrowed.
  IndexMask(ReadOnlyFile* index, const IsWanted& is_wanted)
      : index_(index), walker_(index, is_wanted) {}

  [[nodiscard]] bool Next(MaskStretch* stretch) override;

 private:
  ReadOnlyFile* index_;
  IndexWalker walker_;
};

}  // namespace kxrtc_host

#endif  // RECORD_BUNDLE_INDEX_MASK_H_
