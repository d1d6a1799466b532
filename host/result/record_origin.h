// What an MP4 is made of, as one text: the same record, options and version give the same text.
// Threads: any; blocks while it reads.
#ifndef HOST_RESULT_RECORD_ORIGIN_H_
#define HOST_RESULT_RECORD_ORIGIN_H_

#include <json/value.h>

#include <string>

#include "record/archive/record_glance.h"

namespace kxrtc_host {

// To be raised with each change after which the same record and options give another MP4.
inline constexpr int kMp4OutputFormat = 1;

// A JSON object on one line: kMp4OutputFormat, `options`, sizes and digests of the record's index,
// descriptor and speaker timeline, and the sizes of its data files. `folder` ends in its separator.
// A file that is missing has no member.
std::string RecordOrigin(const std::string& folder, const Json::Value& options);

// True when `origin` is one of RecordOrigin() of this version, for a record whose files had these
// sizes; options and digests do not count.
bool IsOriginOfSizes(const std::string& origin, const GlancedSizes& sizes);

}  // namespace kxrtc_host

#endif  // HOST_RESULT_RECORD_ORIGIN_H_
