// A disk that fails is told as that, and not as damage.
#include "record/check/read_failure.h"

#include <gmock/gmock.h>
#include <sys/syscall.h>

#include <cerrno>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "files/read_only_file.h"
#include "record/predict/record_analysis.h"
#include "record/repair/record_repair.h"
#include "tests/testing/failing_disk.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::kCamera;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;
using testing::HasSubstr;
using testing::IsEmpty;

// Reads of 4096 to 8191 bytes fail: those of one file of each record below.
constexpr kx_testing::FailingCall kFailingRead = {SYS_pread64, EIO, 2, 0x1000};

struct ReadCase {
  const char* name;
  void (*make)(RecordBuilder*);
  const char* file;
  const char* text;
};

void PrintTo(const ReadCase& read_case, std::ostream* out) { *out << read_case.name; }

const ReadCase kMediaCases[] = {
    ReadCase{"Index",
             [](RecordBuilder* record) {
               record->Start(0);
               for (int i = 1; i <= 200; ++i) {
                 record->Audio(i * 21333, kx_testing::AdtsFrame(kx_testing::kAdts48000, 2));
               }
               record->Stop(200 * 21333 + 1);
             },
             "SpeakeRecord.index", "the index cannot be read: Input/output error"},
    ReadCase{"Pictures",
             [](RecordBuilder* record) {
               record->Start(0).Channel(1, kCamera).Attributes(2, 640, 360);
               record->Video(3, kx_testing::KeyFrame640x360() + std::string(5000, 'p'));
               record->Stop(50000);
             },
             "SpeakeRecord.264", "the file .264 cannot be read: Input/output error"},
    ReadCase{"Sound",
             [](RecordBuilder* record) {
               record->Start(0);
               for (int i = 1; i <= 5; ++i) {
                 record->Audio(i * 21333, kx_testing::WithAdts(std::string(1000, 's')));
               }
               record->Stop(5 * 21333 + 1);
             },
             "SpeakeRecord.aac", "the file .aac cannot be read: Input/output error"}};

const ReadCase kDescriptorCase = {
    "Descriptor",
    [](RecordBuilder* record) {
      record->Start(0).Audio(1, kx_testing::AdtsFrame(kx_testing::kAdts48000, 2));
      record->Stop(50000);
    },
    "SpeakeRecord.desc", "the descriptor cannot be read: Input/output error"};

// The texts of one code.
std::vector<std::string> TextsOf(const RecordSummary& summary, FindingCode code) {
  std::vector<std::string> texts;
  for (const Finding& finding : summary.findings.Sorted()) {
    if (finding.code == code) texts.push_back(finding.text);
  }
  return texts;
}

class ReadFailureTest : public testing::TestWithParam<ReadCase> {
 protected:
  ReadFailureTest() {
    RecordBuilder builder(dir_);
    GetParam().make(&builder);
    builder.Write();
    if (GetParam().file == std::string("SpeakeRecord.desc")) {
      kx_testing::AppendToFile(dir_.File(GetParam().file), std::string(4096, ' '));
    }
  }

  TempDir dir_;
  TempDir target_;
};

TEST_P(ReadFailureTest, IsNamedWithItsCause) {
  RecordSummary failed;
  const auto analyse = [&] { failed = AnalyseRecord(dir_.path()); };
  if (!RunWithFailingCall(kFailingRead, analyse)) GTEST_SKIP() << "no system calls can fail here";
  EXPECT_THAT(TextsOf(failed, FindingCode::kFileUnreadable), testing::Contains(GetParam().text));
  EXPECT_THAT(TextsOf(failed, FindingCode::kFileChanged), IsEmpty());
  EXPECT_THAT(TextsOf(failed, FindingCode::kDescriptorUnparsable), IsEmpty());
  EXPECT_EQ(failed.replay.encode.kind, TranscodeKind::kRecordUnreadable);
  EXPECT_EQ(failed.replay.copy.kind, TranscodeKind::kRecordUnreadable);
  const RecordSummary whole = AnalyseRecord(dir_.path());
  EXPECT_THAT(TextsOf(whole, FindingCode::kFileUnreadable), IsEmpty());
  EXPECT_EQ(whole.replay.encode.kind, TranscodeKind::kWritten);
}

// The header of the last record is the end of the first window; only the rest of the record lies on
// the bad place of the disk.
TEST(CutReadFailureTest, BytesOfACutRecordThatCannotBeReadAreNotItsCut) {
  const TempDir dir;
  RecordBuilder record(dir);
  record.Start(0).Channel(1, kCamera).Attributes(2, 640, 360);
  record.Video(3, kx_testing::KeyFrame640x360());
  constexpr size_t kHeaderEnd = ReadOnlyFile::kWindowSize;
  while (record.index().size() + 12 < kHeaderEnd)
    record.DataRecord(kx_testing::kVideoRecord, 4, 0, 0);
  ASSERT_EQ(record.index().size() + 12, kHeaderEnd);
  record.DataRecord(kx_testing::kVideoRecord, 5, 0, 0).Stop(6).Write();
  std::filesystem::resize_file(dir.File("SpeakeRecord.index"), kHeaderEnd + 6);
  RecordSummary failed;
  constexpr kx_testing::FailingCall kReadOf18Bytes = {SYS_pread64, EIO, 2, 0x10};
  const auto analyse = [&] { failed = AnalyseRecord(dir.path()); };
  if (!RunWithFailingCall(kReadOf18Bytes, analyse)) GTEST_SKIP() << "no system calls can fail here";
  EXPECT_THAT(TextsOf(failed, FindingCode::kFileUnreadable),
              testing::Contains("the index cannot be read: Input/output error"));
  EXPECT_THAT(TextsOf(failed, FindingCode::kIndexTruncatedTail), IsEmpty());
  EXPECT_EQ(failed.replay.copy.kind, TranscodeKind::kRecordUnreadable);
  const RecordSummary cut = AnalyseRecord(dir.path());
  EXPECT_THAT(TextsOf(cut, FindingCode::kFileUnreadable), IsEmpty());
  EXPECT_THAT(TextsOf(cut, FindingCode::kIndexTruncatedTail),
              testing::ElementsAre(HasSubstr("(18 bytes are there)")));
  EXPECT_EQ(cut.replay.copy.kind, TranscodeKind::kWrittenInPart);
}

class MediaReadFailureTest : public ReadFailureTest {};

TEST_P(MediaReadFailureTest, IsNotRepaired) {
  // The index has to be looked into closely.
  kx_testing::AppendToFile(dir_.File("SpeakeRecord.264"), "stale");
  kx_testing::AppendToFile(dir_.File("SpeakeRecord.aac"), "stale");
  RepairResult preview;
  RepairResult repair;
  const auto work = [&] {
    preview = PreviewRepair(dir_.path(), {});
    repair = RepairRecord(dir_.path(), target_.File("new"), {});
  };
  if (!RunWithFailingCall(kFailingRead, work)) GTEST_SKIP() << "no system calls can fail here";
  EXPECT_FALSE(repair.repaired);
  EXPECT_TRUE(repair.source_refused);
  EXPECT_EQ(repair.error, dir_.File(GetParam().file) + ": cannot be read: Input/output error");
  EXPECT_TRUE(RepairRecord(dir_.path(), target_.File("new"), {}).repaired);
}

INSTANTIATE_TEST_SUITE_P(Files, MediaReadFailureTest, testing::ValuesIn(kMediaCases),
                         [](const auto& test) { return test.param.name; });
INSTANTIATE_TEST_SUITE_P(Files, ReadFailureTest, testing::ValuesIn(kMediaCases),
                         [](const auto& test) { return test.param.name; });
INSTANTIATE_TEST_SUITE_P(Descriptor, ReadFailureTest, testing::Values(kDescriptorCase),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace kxrtc_host
