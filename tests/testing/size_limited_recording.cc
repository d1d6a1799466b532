#include "tests/testing/size_limited_recording.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/testing/failing_disk.h"
#include "tests/testing/log_capture.h"
#include "tests/testing/record_dump.h"
#include "tests/testing/recorded_conference.h"

namespace kx_testing {
namespace {

constexpr uint64_t kStartRecordBytes = 12;

}  // namespace

void RecordUnderSizeLimit(uint64_t limit) {
  SCOPED_TRACE(limit);
  const std::string key(60, 'k');
  const std::string first(30, 'a');
  const std::string second(30, 'b');
  RecordedConference conference;
  ScopedLogCapture log;
  {
    const ScopedFileSizeLimit size_limit(limit);
    ASSERT_TRUE(conference.recorder.Initialize(conference.dir.path(), &conference.mixer, nullptr));
    conference.MapRemote({{11, 1, 2}});
    conference.recorder.StartRecording();
    const bool starts = limit >= kStartRecordBytes;
    ASSERT_TRUE(log.WaitFor(starts ? "INFO start recording..." : "ERROR already stop"));
    if (starts) conference.Drain();
    conference.Key(11, key);
    conference.Audio(first);
    conference.Audio(second);
    conference.recorder.StopRecording();
    conference.recorder.Finalize();
  }
  size_t longest = 0;
  for (const char* extension : {".264", ".aac", ".index", ".desc"}) {
    const size_t size =
        ReadFile(conference.dir.File(std::string("SpeakeRecord") + extension)).size();
    longest = std::max(longest, size);
  }
  EXPECT_LE(longest, limit);
  EXPECT_LT(longest, kSizeLimitedRecordingBytes);
  EXPECT_EQ("release", conference.mixer.calls().back());

  const std::vector<std::string> whole = {"start",        "channel 2",      "attributes 640x360 r0",
                                          "video " + key, "audio " + first, "audio " + second,
                                          "stop"};
  std::vector<std::string> lines = DumpRecord(conference.dir.path());
  if (longest < limit) {  // Nothing met the limit.
    EXPECT_EQ(whole, lines);
    EXPECT_THAT(log.problems(), testing::IsEmpty());
    return;
  }
  if (!lines.empty() && lines.back().rfind("rest of ", 0) == 0) lines.pop_back();
  EXPECT_TRUE(IsSubsequence(lines, whole)) << testing::PrintToString(lines);
}

}  // namespace kx_testing
