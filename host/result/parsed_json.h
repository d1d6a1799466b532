// JSON that somebody else may have written.
// Threads: any.
#ifndef HOST_RESULT_PARSED_JSON_H_
#define HOST_RESULT_PARSED_JSON_H_

#include <json/value.h>

#include <string>

namespace kxrtc_host {

// No value where `text` is no JSON object or array, or is nested too deep.
Json::Value ParsedJson(const std::string& text);

}  // namespace kxrtc_host

#endif  // HOST_RESULT_PARSED_JSON_H_
