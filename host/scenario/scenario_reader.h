// Reads and checks a scenario's JSON document (docs/scenario.md).
// Threads: any.
#ifndef HOST_SCENARIO_SCENARIO_READER_H_
#define HOST_SCENARIO_SCENARIO_READER_H_

#include <string>

#include "host/scenario/scenario.h"

namespace kxrtc_host {

// Reads the scenario in the file `path`. Relative paths of sources start at the folder of that
// file. On false `*error` is one line with the file, the line and the member, e.g.
// "talk.json:12: participants[0].events[2].at: must be a number of seconds from 0 to 604800", and
// `*scenario` is untouched.
[[nodiscard]] bool LoadScenario(const std::string& path, Scenario* scenario, std::string* error);

// The same for a document in memory; `file_name` replaces the path.
[[nodiscard]] bool ParseScenario(const std::string& text, const std::string& file_name,
                                 Scenario* scenario, std::string* error);

}  // namespace kxrtc_host

#endif  // HOST_SCENARIO_SCENARIO_READER_H_
