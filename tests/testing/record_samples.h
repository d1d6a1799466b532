// Speaker records for tests of the record tools, made with RecordBuilder.
#ifndef TESTS_TESTING_RECORD_SAMPLES_H_
#define TESTS_TESTING_RECORD_SAMPLES_H_

#include <map>
#include <string>

#include "tests/testing/record_builder.h"

namespace kx_testing {

// A key frame with the parameter set of a 640x360 Baseline picture, level 3.0.
std::string KeyFrame640x360();

// `frame` behind an ADTS header (ISO/IEC 14496-3, 1.A.2.2). `rate_index` 3 is 48000 Hz.
std::string WithAdts(const std::string& frame, int channels = 2, int rate_index = 3);

// An ADTS frame of AAC-LC, 13 bytes long. For two channels it decodes to silence.
std::string AdtsFrame(uint32_t sample_rate_index, uint32_t channels);
inline constexpr uint32_t kAdts48000 = 3;
inline constexpr uint32_t kAdts44100 = 4;

// A session without any fault from `start_us` on: a camera with a key frame and a delta frame,
// three audio frames. 70000 microseconds long.
RecordBuilder& AddHealthySession(RecordBuilder& builder, int64_t start_us);

// Two healthy sessions, the second one with a desktop share.
RecordBuilder TwoSessions(const TempDir& dir);

// The content of the four files by extension.
std::map<std::string, std::string> ReadRecord(const std::string& folder);

}  // namespace kx_testing

#endif  // TESTS_TESTING_RECORD_SAMPLES_H_
