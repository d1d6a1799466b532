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

  // Each record with the end that it has in the index, and that its frame has in its data file.
  struct Written {
    std::string line;
    uint64_t index_end;
    uint64_t data_end;
  };
  const std::vector<Written> written = {
      {"start", 12, 0},         {"channel 2", 28, 0},        {"attributes 640x360 r0", 52, 0},
      {"video " + key, 76, 60}, {"audio " + first, 100, 30}, {"audio " + second, 124, 60},
      {"stop", 136, 0},
  };
  std::vector<std::string> whole;
  size_t intact = 0;  // Records in front of the first one that has no room.
  for (const Written& record : written) {
    const bool fits = record.index_end <= limit && record.data_end <= limit;
    if (fits && intact == whole.size()) ++intact;
    whole.push_back(record.line);
  }
  std::vector<std::string> lines = DumpRecord(conference.dir.path());
  if (!lines.empty() && lines.back().rfind("rest of ", 0) == 0) lines.pop_back();
  EXPECT_TRUE(IsSubsequence(lines, whole)) << testing::PrintToString(lines);
  ASSERT_GE(lines.size(), intact) << testing::PrintToString(lines);
  lines.resize(intact);
  whole.resize(intact);
  EXPECT_EQ(lines, whole);
  if (longest < limit) {  // Nothing met the limit.
    EXPECT_EQ(intact, written.size());
    EXPECT_THAT(log.problems(), testing::IsEmpty());
  } else if (intact < written.size()) {
    EXPECT_THAT(log.problems(),
                testing::Contains(testing::AnyOf("ERROR failed in WriteToFile",
                                                 "ERROR failed in WriteToIndexFile")));
  } else {
    // The descriptor has the limit's size: it is complete, or told to be cut.
    const std::string descriptor = ReadFile(conference.dir.File("SpeakeRecord.desc"));
    const bool complete =
        descriptor.size() > 2 && descriptor.substr(descriptor.size() - 2) == "}\n";
    if (!complete) {
      EXPECT_THAT(log.problems(), testing::Contains("ERROR failed to write data"));
    }
  }
}

}  // namespace kx_testing
