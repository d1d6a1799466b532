// The options --from, --to and --cut: which parts of the MP4 of a record the user wants.
#ifndef TOOLS_KXRTC_PART_OPTIONS_H_
#define TOOLS_KXRTC_PART_OPTIONS_H_

#include <CLI/CLI.hpp>

#include "record/parts/part_request.h"

namespace kxrtc_tool {

// `*request` outlives the parsing.
void AddPartOptions(CLI::App* command, kxrtc_host::PartRequest* request);

// Ends the program with status 2 if nothing can be left.
void RefuseEmptyParts(const kxrtc_host::PartRequest& request);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_PART_OPTIONS_H_
