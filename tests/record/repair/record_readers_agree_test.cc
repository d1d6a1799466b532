// Every short index, and long ones at random: the library's replay, the prediction, the look before
// a transcoding and the repaired copy give one and the same answer.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "kxrtc/recording/speaker_record_descriptor_document.h"
#include "record/predict/record_analysis.h"
#include "record/predict/record_outline.h"
#include "record/repair/record_repair.h"
#include "record/repair/salvage_reader.h"
#include "tests/testing/record_builder.h"
#include "tests/testing/replay_calls.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using kx_testing::BigEndian32;
using kx_testing::BigEndian64;
using kx_testing::PredictReplay;
using kx_testing::ReplayCall;
using kx_testing::ReplayCalls;
using kx_testing::RunReplay;
using kx_testing::TempDir;

constexpr uint32_t kMaxBytes = 64;
constexpr uint32_t kLargeBytes = 65;
constexpr uint64_t kBehindEnd = 5000;

// Every index of up to so many records is checked.
constexpr size_t kEnumeratedUpTo = 5;

// One record of the alphabet: all of it but the time.
struct Letter {
  const char* name;
  uint32_t type;
  std::string payload;
  std::optional<std::string> frame = {};  // The bytes of a frame, which its data file gets.
  bool is_large = false;
};

std::string Place(uint64_t position, uint64_t size) {
  return BigEndian64(position) + BigEndian32(static_cast<uint32_t>(size));
}

std::vector<Letter> Alphabet() {
  std::vector<Letter> letters = {
      {"start", kxrtc::kStartRecording, ""},
      {"stop", kxrtc::kStopRecording, ""},
      {"audio only", kxrtc::kNewChannel, BigEndian32(0)},
      {"camera", kxrtc::kNewChannel, BigEndian32(2)},
      {"attributes", kxrtc::kNewVideoAttributes, BigEndian32(90) + BigEndian32(4) + BigEndian32(2)},
      {"reserved", kxrtc::kReservedRecord, ""},
      {"key", kxrtc::kVideoData, "", kx_testing::KeyFrame()},
      {"delta", kxrtc::kVideoData, "", kx_testing::DeltaFrame()},
  };
  for (const uint32_t type : {kxrtc::kVideoData, kxrtc::kAudioData}) {
    // A repair that finds damage keeps pictures that are some.
    std::string large = type == kxrtc::kVideoData ? kx_testing::DeltaFrame() : "";
    large.resize(kLargeBytes, '\x7F');
    letters.push_back({"empty", type, "", ""});
    letters.push_back({"empty behind the end", type, Place(kBehindEnd, 0)});
    letters.push_back({"beyond the seekable", type, Place(UINT64_MAX, 0)});
    letters.push_back({"absent", type, Place(kBehindEnd, 8)});
    letters.push_back({"large", type, "", large, true});
  }
  letters.push_back({"audio", kxrtc::kAudioData, "", "12345678"});
  return letters;
}

class Record {
 public:
  Record() : letters_(Alphabet()) {
    for (const TempDir* dir : {&dir_, &repaired_}) {
      kx_testing::WriteFile(dir->File("SpeakeRecord.desc"),
                            kxrtc::RenderSpeakerRecordDesc({0, 0, 0, 2}, {}));
    }
  }

  size_t letter_count() const { return letters_.size(); }

  // `word`: the letters of the index; `step_us`: the time between two records.
  void Write(const std::vector<size_t>& word, int64_t step_us) {
    std::string index;
    std::map<uint32_t, std::string> data;  // By record type.
    int64_t time_us = 0;
    name_.clear();
    for (const size_t letter : word) {
      const Letter& record = letters_[letter];
      index += BigEndian32(record.type) + BigEndian64(static_cast<uint64_t>(time_us += step_us));
      std::string& file = data[record.type];
      index += record.frame ? Place(file.size(), record.frame->size()) : record.payload;
      file += record.frame.value_or("");
      name_ += std::string(record.name) + ", ";
    }
    WriteFiles(dir_, index, data[kxrtc::kVideoData], data[kxrtc::kAudioData]);
  }

  // Compares the readers of the index. Answers whether a replay gets behind its last record, as far
  // as the look before a transcoding tells.
  bool Check(const std::vector<size_t>& word) {
    SCOPED_TRACE(name_);
    const ReplayCalls replay = RunReplay(dir_.path());
    EXPECT_EQ(PredictReplay(dir_.path()), replay);
    CheckRewriting(replay);
    if (word.size() <= kFoldersUpTo || word.size() > kEnumeratedUpTo) {
      CheckAnalysis(replay);
      CheckRepair(replay);
    }
    return CheckOutline(word, replay);
  }

 private:
  // The tools that read the data files too, and write a folder, look at the shortest ones.
  static constexpr size_t kFoldersUpTo = 2;

  bool CheckOutline(const std::vector<size_t>& word, const ReplayCalls& replay) {
    RecordFiles files;
    files.Open(dir_.path());
    const RecordOutline outline = ReadRecordOutline(&files, kMaxBytes);
    if (outline.end == RecordEnd::kFrameTooLarge) {
      // It looks no further than to the first one, which a replay would still take.
      EXPECT_TRUE(std::any_of(word.begin(), word.end(),
                              [this](size_t letter) { return letters_[letter].is_large; }));
      return true;
    }
    EXPECT_EQ(outline.end == RecordEnd::kComplete, replay.completes);
    EXPECT_EQ(outline.audio_frames, Count(replay, ReplayCall::Kind::kAudio));
    return outline.end == RecordEnd::kComplete || outline.end == RecordEnd::kCutShort;
  }

  static void WriteFiles(const TempDir& dir, const std::string& index, const std::string& video,
                         const std::string& audio) {
    kx_testing::WriteFile(dir.File("SpeakeRecord.index"), index);
    kx_testing::WriteFile(dir.File("SpeakeRecord.264"), video);
    kx_testing::WriteFile(dir.File("SpeakeRecord.aac"), audio);
  }

  static std::string PartsOf(const ReadOnlyFile& file, const FrameRanges& ranges) {
    std::string parts;
    for (const FrameRanges::Range& range : ranges.ranges()) {
      std::string part(range.size, ' ');
      EXPECT_EQ(file.Read(range.begin, &part[0], part.size()), part.size());
      parts += part;
    }
    return parts;
  }

  // The repaired index replays to its end and begins with all that the record's own replay yields.
  void CheckRewriting(const ReplayCalls& replay) {
    RecordFiles files;
    files.Open(dir_.path());
    RepairChanges changes;
    IndexRewriter rewriter(&changes);
    SalvageReader reader(&files.index, &files.video, &files.audio, &changes, nullptr);
    IndexRecord record;
    std::string index;
    IndexWalker::Step step;
    while ((step = reader.Next(&record)) != IndexWalker::Step::kEnd) {
      if (step == IndexWalker::Step::kRecord) {
        rewriter.OnRecord(record, &index);
      } else {
        rewriter.OnGarbage(record.offset, reader.skipped_bytes());
      }
    }
    rewriter.Finish(files.index.size(), &index);
    if (rewriter.sessions().empty()) {
      EXPECT_TRUE(replay.calls.empty());
      return;
    }
    WriteFiles(repaired_, index, PartsOf(files.video, reader.video_ranges()),
               PartsOf(files.audio, reader.audio_ranges()));
    CompareCopy(replay, repaired_.path());
    if (!replay.completes) {
      EXPECT_GT(changes.lost + changes.added, 0u);
    }
  }

  void CompareCopy(const ReplayCalls& replay, const std::string& copy) {
    const ReplayCalls repaired = RunReplay(copy);
    EXPECT_TRUE(repaired.completes);
    EXPECT_EQ(PredictReplay(copy), repaired);
    if (replay.completes) {
      EXPECT_EQ(repaired, replay);
      return;
    }
    ASSERT_LE(replay.calls.size(), repaired.calls.size());
    EXPECT_TRUE(std::equal(replay.calls.begin(), replay.calls.end(), repaired.calls.begin()));
  }

  static uint64_t Count(const ReplayCalls& replay, ReplayCall::Kind kind) {
    return static_cast<uint64_t>(
        std::count_if(replay.calls.begin(), replay.calls.end(),
                      [kind](const ReplayCall& call) { return call.kind == kind; }));
  }

  void CheckAnalysis(const ReplayCalls& replay) {
    const RecordSummary summary = AnalyseRecord(dir_.path());
    EXPECT_EQ(summary.replay.completes, replay.completes);
    EXPECT_EQ(summary.replay.audio_samples, Count(replay, ReplayCall::Kind::kAudio));
    EXPECT_EQ(summary.replay.video_samples, Count(replay, ReplayCall::Kind::kVideo));
  }

  void CheckRepair(const ReplayCalls& replay) {
    RepairOptions options;
    options.sync = false;
    options.audio_channels = 2;
    const std::string copy = target_.File("copy");
    const RepairResult result = RepairRecord(dir_.path(), copy, options);
    if (result.repaired) {
      CompareCopy(replay, copy + "/");
    } else {
      EXPECT_TRUE(replay.calls.empty()) << result.error;
    }
    std::filesystem::remove_all(copy);
  }

  TempDir dir_;
  TempDir repaired_;
  TempDir target_;
  std::vector<Letter> letters_;
  std::string name_;
};

// Checks every index that begins with `word`. One whose replay stops early is prolonged up to three
// records only: what follows changes nothing but the repaired copy.
void CheckAllFrom(Record* record, std::vector<size_t>* word, size_t max_records,
                  uint64_t* checked) {
  constexpr size_t kProlongedUpTo = 3;
  for (size_t letter = 0; letter < record->letter_count(); ++letter) {
    word->push_back(letter);
    record->Write(*word, 20000);
    const bool goes_on = record->Check(*word);
    ++*checked;
    if (testing::Test::HasFailure()) return;
    const size_t limit = goes_on ? max_records : std::min(kProlongedUpTo, max_records);
    if (word->size() < limit) CheckAllFrom(record, word, max_records, checked);
    word->pop_back();
  }
}

TEST(RecordReadersAgreeTest, OnEveryIndexOfUpToFiveRecords) {
  Record record;
  std::vector<size_t> word;
  uint64_t checked = 0;
  CheckAllFrom(&record, &word, kEnumeratedUpTo, &checked);
  EXPECT_EQ(checked, 23123u);
}

// The letters that let a replay go on come more often, and so does each step of the clock.
TEST(RecordReadersAgreeTest, OnLongIndexesAtRandom) {
  std::mt19937_64 random(20261122);
  const std::vector<size_t> usual = {1, 2, 3, 4, 6, 7, 7, 8, 18, 18, 18};
  Record record;
  for (int round = 0; round < 300; ++round) {
    std::vector<size_t> word = {0, 3};
    const size_t length = 5 + random() % 60;
    while (word.size() < length) {
      if (word.back() == 1) {
        word.push_back(0);
      } else if (random() % 40 == 0) {
        word.push_back(random() % record.letter_count());
      } else {
        word.push_back(usual[random() % usual.size()]);
      }
    }
    word.push_back(1);
    const int64_t steps[] = {0, 1, 21333, 600000, 6000000, -50000};
    record.Write(word, steps[random() % 6]);
    (void)record.Check(word);
    ASSERT_FALSE(HasFailure()) << "round " << round;
  }
}

}  // namespace
}  // namespace kxrtc_host
