// Shows what stands in a speaker record, decoded by hand and not with the code under test.
#ifndef TESTS_TESTING_RECORD_DUMP_H_
#define TESTS_TESTING_RECORD_DUMP_H_

#include <string>
#include <vector>

namespace kx_testing {

// The records of an index, one line each: "start", "stop", "channel 2", "attributes 640x360 r90",
// "video <bytes>", "audio <bytes>". A frame's bytes are taken from its place in the data file. What
// does not make a whole record ends the list as "rest of <n> bytes", a type that no record has as
// "type <n>", a frame that reaches past the end of its file reads "outside".
std::vector<std::string> DumpIndex(const std::string& index, const std::string& video,
                                   const std::string& audio);

// The same of the record in `folder` (with its trailing separator).
std::vector<std::string> DumpRecord(const std::string& folder);

// The timestamps of the whole records of an index.
std::vector<long long> DumpTimes(const std::string& index);

// The whole records of an index with their times, and frames as places in their files: "start @5",
// "channel 2 @6", "attributes 640x360 r90 @7", "video 0+5 @8", "audio 0+3 @9", "stop @10".
std::vector<std::string> DumpPlaces(const std::string& index);

// True when `lines` stand in `whole` in their order, whatever else stands between them.
bool IsSubsequence(const std::vector<std::string>& lines, const std::vector<std::string>& whole);

}  // namespace kx_testing

#endif  // TESTS_TESTING_RECORD_DUMP_H_
