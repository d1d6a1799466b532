// Helps with names that were not typed right.
// Threads: any.
#ifndef TOOLS_KXRTC_NEAREST_NAME_H_
#define TOOLS_KXRTC_NEAREST_NAME_H_

#include <string>
#include <vector>

namespace kxrtc_tool {

// The one of `names` that `typed` was probably meant to be; empty: none is close enough. Of several
// it is the first.
std::string NearestName(const std::string& typed, const std::vector<std::string>& names);

// "; did you mean NAME?" or nothing.
std::string DidYouMean(const std::string& typed, const std::vector<std::string>& names);

// "a, b or c".
std::string Listed(const std::vector<std::string>& names);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_NEAREST_NAME_H_
