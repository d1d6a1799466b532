// How long work learns that it is to end.
#ifndef FILES_IS_WANTED_H_
#define FILES_IS_WANTED_H_

#include <functional>

namespace kxrtc_host {

// Asked from time to time by long work; false ends it with a failure. Empty: always wanted.
using IsWanted = std::function<bool()>;

// The error of work that was stopped on request.
inline constexpr char kStoppedText[] = "stopped; nothing is written";

}  // namespace kxrtc_host

#endif  // FILES_IS_WANTED_H_
