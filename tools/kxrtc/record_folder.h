// How a record's folder is given on the command line.
#ifndef TOOLS_KXRTC_RECORD_FOLDER_H_
#define TOOLS_KXRTC_RECORD_FOLDER_H_

#include <string>

namespace kxrtc_tool {

// `path` with exactly the trailing separator that the library's folder arguments need.
inline std::string RecordFolder(std::string path) {
  if (path.empty() || path.back() != '/') path += '/';
  return path;
}

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_RECORD_FOLDER_H_
