// Keeps output away from the record that it is made of.
#ifndef TOOLS_KXRTC_FILE_OF_RECORD_H_
#define TOOLS_KXRTC_FILE_OF_RECORD_H_

#include <string>

namespace kxrtc_tool {

// True when `path` is one of the four files of the record in `folder`, by whatever name, or would
// be made in its place where it is missing.
bool IsFileOfRecord(const std::string& folder, const std::string& path);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_FILE_OF_RECORD_H_
