// Texts of a bundle.
// Threads: any.
#ifndef RECORD_BUNDLE_BUNDLE_DOCUMENTS_H_
#define RECORD_BUNDLE_BUNDLE_DOCUMENTS_H_

#include <string>

#include "record/bundle/record_bundle.h"

namespace kxrtc_host {

// The folder of the record within the bundle.
inline constexpr char kBundledRecordFolder[] = "record/";

// The document of `kxrtc verify --json`, with that folder in the place of the record's.
std::string BundledVerifyDocument(const BundleInput& input);

}  // namespace kxrtc_host

#endif  // RECORD_BUNDLE_BUNDLE_DOCUMENTS_H_
