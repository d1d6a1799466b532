// A bundle of a record, unpacked.
#ifndef TESTS_TESTING_BUNDLED_RECORD_H_
#define TESTS_TESTING_BUNDLED_RECORD_H_

#include <string>

#include "record/check/sound_examiner.h"
#include "tests/testing/temp_dir.h"

namespace kx_testing {

class BundledRecord {
 public:
  // Bundles the record in `folder`.
  explicit BundledRecord(const std::string& folder, kxrtc_host::SoundExaminer* examiner = nullptr);

  const TempDir& dir() const { return dir_; }  // The record.
  const std::string& verify_document() const { return verify_document_; }

 private:
  const TempDir dir_;
  std::string verify_document_;
};

// Fails the test unless analysis and repair say the same about the record in `folder` and about its
// bundle.
void ExpectBundleTellsTheSame(const std::string& folder,
                              kxrtc_host::SoundExaminer* examiner = nullptr);

}  // namespace kx_testing

#endif  // TESTS_TESTING_BUNDLED_RECORD_H_
