// What a source of a scenario is, and what libavformat may open for it: what the source itself
// needs and nothing that its content names. Threads: any.
#ifndef HOST_SCENARIO_SOURCE_ACCESS_H_
#define HOST_SCENARIO_SOURCE_ACCESS_H_

#include <string>

#include "host/scenario/scenario.h"

namespace kxrtc_host {

struct SourceAccess {
  enum class Way {
    kLocal,    // A file, pipe or device of this machine, read by LocalInput.
    kStream,   // An address whose bytes are the media.
    kDemuxer,  // An address that the demuxer opens itself.
  };

  Way way = Way::kLocal;
  std::string protocols;  // Names of libavformat, with commas; nothing else is opened.
  std::string format;     // Name of the demuxer; empty: libavformat detects it.
  std::string formats;    // The allowed demuxers, with commas; empty: any.
};

// True for an address such as "rtp://host", also for "file:name". A path may have a colon only
// after a slash.
bool IsAddress(const std::string& source);

// Whether the source arrives in real time unless the scenario says otherwise.
bool IsLiveByDefault(const std::string& source);

// On false the source cannot be allowed: `*error` says why and what to do.
[[nodiscard]] bool FindSourceAccess(const MediaSpec& media, SourceAccess* access,
                                    std::string* error);

// True for a demuxer, by any of its names with commas, whose media are all in the source itself.
bool IsPlainFormat(const std::string& format);

// The path of a local source.
std::string LocalPath(const std::string& source);

}  // namespace kxrtc_host

#endif  // HOST_SCENARIO_SOURCE_ACCESS_H_
