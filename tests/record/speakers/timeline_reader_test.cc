#include "record/speakers/timeline_reader.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using ::kx_testing::TempDir;
using ::kx_testing::WriteFile;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using Step = TimelineReader::Step;

constexpr char kHeader[] = "{\"speaker_timeline\":1}\n";
constexpr char kStop[] = "{\"event\":\"stop\",\"us\":7}\n";

class TimelineReaderTest : public testing::Test {
 protected:
  std::string path() const { return dir_.File(kSpeakerTimelineFileName); }

  // The steps through a file with this content, without the last one.
  std::vector<Step> Steps(const std::string& content) {
    WriteFile(path(), content);
    TimelineReader reader;
    EXPECT_TRUE(reader.Open(dir_.path())) << reader.problem();
    std::vector<Step> steps;
    for (Step step = reader.Next(); step != Step::kEnd; step = reader.Next()) {
      steps.push_back(step);
      if (step != Step::kDamaged) lines_ += reader.line();
    }
    EXPECT_EQ(reader.problem(), "");
    return steps;
  }

  std::string Problem(const std::string& content) {
    WriteFile(path(), content);
    TimelineReader reader;
    EXPECT_FALSE(reader.Open(dir_.path()));
    return reader.problem();
  }

  TempDir dir_;
  std::string lines_;
};

TEST_F(TimelineReaderTest, ReadsWholeLines) {
  const std::string unknown = "{\"event\":\"new\",\"us\":9}\n";
  EXPECT_THAT(Steps(kHeader + std::string(kStop) + unknown + kStop),
              ElementsAre(Step::kEntry, Step::kUnknown, Step::kEntry));
  EXPECT_EQ(lines_, kStop + unknown + kStop);
}

TEST_F(TimelineReaderTest, EndsBeforeATornLine) {
  const std::string whole = kHeader + std::string(kStop);
  for (size_t size = whole.size(); size < whole.size() + sizeof(kStop) - 2; ++size) {
    EXPECT_THAT(Steps((whole + kStop).substr(0, size)), ElementsAre(Step::kEntry)) << size;
  }
}

TEST_F(TimelineReaderTest, PassesOverDamagedLines) {
  const std::string zeros(3 * kMaxTimelineLineBytes, '\0');
  const std::string longest =
      "{\"event\":\"stop\",\"us\":7" + std::string(kMaxTimelineLineBytes - 24, ' ') + "}\n";
  ASSERT_EQ(longest.size(), kMaxTimelineLineBytes);
  EXPECT_THAT(Steps(kHeader + zeros + "\n\n" + kStop + longest + " " + longest + kStop),
              ElementsAre(Step::kDamaged, Step::kDamaged, Step::kEntry, Step::kEntry,
                          Step::kDamaged, Step::kEntry));
  EXPECT_EQ(lines_, kStop + longest + kStop);
}

TEST_F(TimelineReaderTest, EndsInAnEndlessLine) {
  EXPECT_THAT(Steps(kHeader + std::string(100000, 'x')), IsEmpty());
}

TEST_F(TimelineReaderTest, IsQuietWithoutATimeline) {
  TimelineReader reader;
  EXPECT_FALSE(reader.Open(dir_.path()));
  EXPECT_EQ(reader.problem(), "");
}

TEST_F(TimelineReaderTest, SaysWhyItCannotRead) {
  EXPECT_EQ(Problem(""), path() + ": is not a speaker timeline");
  EXPECT_EQ(Problem(kStop), path() + ": is not a speaker timeline");
  EXPECT_EQ(Problem("{\"speaker_timeline\":1}"), path() + ": is not a speaker timeline");
  EXPECT_EQ(Problem(std::string(100000, 'x') + "\n"), path() + ": is not a speaker timeline");
  EXPECT_EQ(Problem("{\"speaker_timeline\":2}\n"),
            path() + ": has version 2, this program reads version 1; use a later one");
}

TEST_F(TimelineReaderTest, TellsThatTheFileBecameShorter) {
  std::string content = kHeader;
  while (content.size() < 3 * ReadOnlyFile::kWindowSize) content += kStop;
  WriteFile(path(), content);
  TimelineReader reader;
  ASSERT_TRUE(reader.Open(dir_.path()));
  std::filesystem::resize_file(path(), 2 * ReadOnlyFile::kWindowSize);
  while (reader.Next() != Step::kEnd) continue;
  EXPECT_EQ(reader.problem(), path() + ": became shorter while it was read");
  EXPECT_FALSE(reader.has_other_version());
}

TEST_F(TimelineReaderTest, OpensNothingThatIsNoFile) {
  ASSERT_EQ(::mkfifo(path().c_str(), 0600), 0);
  TimelineReader reader;
  EXPECT_FALSE(reader.Open(dir_.path()));
  EXPECT_THAT(reader.problem(), EndsWith("cannot be read: not a regular file"));
}

}  // namespace
}  // namespace kxrtc_host
