// Every short index, and long ones at random: the library's replay, the prediction, the look before
// a transcoding and the repaired copy give one and the same answer.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "kxrtc/recording/speaker_record_descriptor_document.h"
#include "record/predict/record_analysis.h"
#include "record/predict/record_outline.h"
#include "record/repair/record_repair.h"
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

// The data files hold a key frame, a delta frame and one that is larger than the limit below.
constexpr uint32_t kMaxBytes = 64;
constexpr uint32_t kLargeBytes = 65;
constexpr uint64_t kBehindEnd = 5000;

// Every index of up to so many records is checked.
constexpr size_t kEnumeratedUpTo = 5;

std::string DataFile() {
  std::string bytes = kx_testing::KeyFrame() + kx_testing::DeltaFrame();
  return bytes + std::string(kLargeBytes, '\x7F');
}

// One record of the alphabet: all of it but the time.
struct Letter {
  const char* name;
  uint32_t type;
  std::string payload;
  bool is_large = false;
};

std::string Frame(uint64_t position, uint64_t size) {
  return BigEndian64(position) + BigEndian32(static_cast<uint32_t>(size));
}

std::vector<Letter> Alphabet() {
  const uint64_t key = kx_testing::KeyFrame().size();
  const uint64_t delta = kx_testing::DeltaFrame().size();
  std::vector<Letter> letters = {
      {"start", kxrtc::kStartRecording, ""},
      {"stop", kxrtc::kStopRecording, ""},
      {"audio only", kxrtc::kNewChannel, BigEndian32(0)},
      {"camera", kxrtc::kNewChannel, BigEndian32(2)},
      {"attributes", kxrtc::kNewVideoAttributes, BigEndian32(90) + BigEndian32(4) + BigEndian32(2)},
      {"reserved", kxrtc::kReservedRecord, ""},
      {"key", kxrtc::kVideoData, Frame(0, key)},
      {"delta", kxrtc::kVideoData, Frame(key, delta)},
  };
  for (const uint32_t type : {kxrtc::kVideoData, kxrtc::kAudioData}) {
    letters.push_back({"empty", type, Frame(0, 0)});
    letters.push_back({"empty behind the end", type, Frame(kBehindEnd, 0)});
    letters.push_back({"beyond the seekable", type, Frame(UINT64_MAX, 0)});
    letters.push_back({"absent", type, Frame(kBehindEnd, 8)});
    letters.push_back({"large", type, Frame(key + delta, kLargeBytes), true});
  }
  letters.push_back({"audio", kxrtc::kAudioData, Frame(0, 8)});
  return letters;
}

class Record {
 public:
  Record() : letters_(Alphabet()) {
    for (const TempDir* dir : {&dir_, &repaired_}) {
      kx_testing::WriteFile(dir->File("SpeakeRecord.264"), DataFile());
      kx_testing::WriteFile(dir->File("SpeakeRecord.aac"), DataFile());
      kx_testing::WriteFile(dir->File("SpeakeRecord.desc"),
                            kxrtc::RenderSpeakerRecordDesc({0, 0, 0, 2}, {}));
    }
  }

  size_t letter_count() const { return letters_.size(); }

  // `word`: the letters of the index; `step_us`: the time between two records.
  void Write(const std::vector<size_t>& word, int64_t step_us) {
    std::string index;
    int64_t time_us = 0;
    name_.clear();
    for (const size_t letter : word) {
      const Letter& record = letters_[letter];
      index += BigEndian32(record.type) + BigEndian64(static_cast<uint64_t>(time_us += step_us));
      index += record.payload;
      name_ += std::string(record.name) + ", ";
    }
    kx_testing::WriteFile(dir_.File("SpeakeRecord.index"), index);
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

  // The repaired index replays to its end and begins with all that the record's own replay yields.
  void CheckRewriting(const ReplayCalls& replay) {
    RecordFiles files;
    files.Open(dir_.path());
    RepairChanges changes;
    IndexRewriter rewriter(&files.video, &files.audio, &changes);
    IndexWalker walker(&files.index);
    IndexRecord record;
    std::string index;
    IndexWalker::Step step;
    while ((step = walker.Next(&record)) != IndexWalker::Step::kEnd) {
      if (step == IndexWalker::Step::kRecord) {
        rewriter.OnRecord(record, &index);
      } else {
        rewriter.OnGarbage(record.offset, walker.skipped_bytes());
      }
    }
    rewriter.Finish(files.index.size(), &index);
    if (rewriter.sessions().empty()) {
      EXPECT_TRUE(replay.calls.empty());
      return;
    }
    kx_testing::WriteFile(repaired_.File("SpeakeRecord.index"), index);
    CompareCopy(replay, repaired_.path());
    EXPECT_EQ(replay.completes, changes.lost + changes.added == 0);
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
  TempDir repaired_;  // The same data files beside a repaired index.
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
