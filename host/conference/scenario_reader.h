// Reads and checks a scenario's JSON document (docs/scenario.md).
// Threads: any.
#ifndef HOST_CONFERENCE_SCENARIO_READER_H_
#define HOST_CONFERENCE_SCENARIO_READER_H_

#include <string>

#include "host/conference/scenario.h"

namespace kxrtc_host {

// Reads the scenario in the file `path`. Sources with a relative path are taken relative to the
// file's folder. On false `*error` is one line that names the file, the line and the member, e.g.
// "talk.json:12: participants[0].events[2].at: must be a number of seconds from 0 to 604800", and
// `*scenario` is untouched.
[[nodiscard]] bool LoadScenario(const std::string& path, Scenario* scenario, std::string* error);

// The same for a document in memory; `file_name` stands for the path.
[[nodiscard]] bool ParseScenario(const std::string& text, const std::string& file_name,
                                 Scenario* scenario, std::string* error);

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_SCENARIO_READER_H_
