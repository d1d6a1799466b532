// A short recording on a disk that ends somewhere in it.
#ifndef TESTS_TESTING_SIZE_LIMITED_RECORDING_H_
#define TESTS_TESTING_SIZE_LIMITED_RECORDING_H_

#include <cstdint>

namespace kx_testing {

// The longest file of the recording below has fewer bytes.
inline constexpr uint64_t kSizeLimitedRecordingBytes = 450;

// Records a session with a key frame and two audio frames while no file may have more than `limit`
// bytes. Fails the running test unless the recorder tells the failure, finalizes, releases its
// mixer and leaves all records in front of the first one without room, and no part of another but
// the last.
void RecordUnderSizeLimit(uint64_t limit);

}  // namespace kx_testing

#endif  // TESTS_TESTING_SIZE_LIMITED_RECORDING_H_
