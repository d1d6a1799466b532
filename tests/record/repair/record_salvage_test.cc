// Records that lost their index, whose files were exchanged, and data files with bytes too many or
// too few: what can be found by the bytes of the frames stays.
#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "record/predict/record_analysis.h"
#include "record/repair/record_repair.h"
#include "tests/testing/bundled_record.h"
#include "tests/testing/record_dump.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::DumpRecord;
using kx_testing::kCamera;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Files = std::map<std::string, std::string>;

constexpr int kFrames = 12;

std::string Sound(int number) {
  return kx_testing::WithAdts(std::string(static_cast<size_t>(20 + 7 * number), 's'));
}

// Each but the key frame begins with a delimiter.
std::string Picture(int number) {
  if (number == 0) return kx_testing::KeyFrame640x360();
  return std::string("\0\0\0\1\x09\xF0\0\0\0\1\x41\x80", 12) +
         std::string(static_cast<size_t>(30 + 5 * number), 'p');
}

// One second of sound and pictures, recorded as a recorder does it.
RecordBuilder Healthy(const TempDir& dir) {
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360);
  for (int i = 0; i < kFrames; ++i) {
    builder.Video(3 + i * 21333, Picture(i)).Audio((i + 1) * 21333, Sound(i));
  }
  return builder.Stop(kFrames * 21333 + 5);
}

// How many frames of `name` only `lines` has, and not `others`.
int CountOnlyIn(std::vector<std::string> lines, std::vector<std::string> others,
                const std::string& name) {
  std::sort(lines.begin(), lines.end());
  std::sort(others.begin(), others.end());
  std::vector<std::string> only;
  std::set_difference(lines.begin(), lines.end(), others.begin(), others.end(),
                      std::back_inserter(only));
  return static_cast<int>(std::count_if(
      only.begin(), only.end(), [&name](const auto& line) { return line.rfind(name, 0) == 0; }));
}

struct SalvageCase {
  const char* name;
  std::function<void(Files*)> tear;
  int lost_pictures;
  int lost_sounds;
  int new_pictures;                  // With other bytes.
  std::vector<std::string> changes;  // A part of each, in any order.
};

class RecordSalvageTest : public testing::TestWithParam<SalvageCase> {};

TEST_P(RecordSalvageTest, KeepsEachWholeFrameAndNamesTheRest) {
  const TempDir dir;
  const TempDir target;
  Healthy(dir).Write();
  const std::vector<std::string> whole = DumpRecord(dir.path());
  Files files = kx_testing::ReadRecord(dir.path());
  GetParam().tear(&files);
  for (const char* extension : {".index", ".264", ".aac", ".desc"}) {
    const std::string path = dir.File(std::string("SpeakeRecord") + extension);
    std::filesystem::remove(path);
    if (files.count(extension) > 0) kx_testing::WriteFile(path, files[extension]);
  }
  RepairOptions options;
  options.sync = false;
  const RepairResult result = RepairRecord(dir.path(), target.File("new"), options);
  ASSERT_TRUE(result.repaired) << result.error;
  const std::vector<std::string> lines = DumpRecord(target.File("new/"));
  EXPECT_EQ(CountOnlyIn(whole, lines, "video"), GetParam().lost_pictures);
  EXPECT_EQ(CountOnlyIn(whole, lines, "audio"), GetParam().lost_sounds);
  EXPECT_EQ(CountOnlyIn(lines, whole, "video"), GetParam().new_pictures);
  EXPECT_EQ(CountOnlyIn(lines, whole, ""), GetParam().new_pictures);
  std::vector<std::string> texts;
  for (const RepairChange& change : result.changes.kept) {
    texts.push_back(std::string(RepairChangeName(change.kind)) + ": " + change.text);
  }
  std::vector<testing::Matcher<std::string>> expected;
  for (const std::string& part : GetParam().changes) expected.push_back(HasSubstr(part));
  EXPECT_THAT(texts, testing::UnorderedElementsAreArray(expected));
  const std::string index = kx_testing::ReadFile(target.File("new/SpeakeRecord.index"));
  const std::vector<long long> times = kx_testing::DumpTimes(index);
  EXPECT_TRUE(std::is_sorted(times.begin(), times.end())) << testing::PrintToString(times);
  const RecordSummary after = AnalyseRecord(target.File("new"));
  EXPECT_EQ(result.kept.video_end, after.sizes.video);
  EXPECT_EQ(result.kept.audio_end, after.sizes.audio);
  EXPECT_EQ(result.kept.video_frames, after.totals.video_frames);
  EXPECT_EQ(result.kept.audio_frames, after.totals.audio_frames);
  EXPECT_EQ(after.findings.count(Severity::kError), 0u);
  EXPECT_EQ(after.findings.count(FindingCode::kDataHole), 0u);
  EXPECT_EQ(after.findings.count(FindingCode::kDataStaleTail), 0u);
  EXPECT_EQ(after.findings.count(FindingCode::kVideoNoKeyAfterSwitch), 0u);
  kx_testing::ExpectBundleTellsTheSame(dir.path());
}

std::vector<SalvageCase> Cases() {
  const auto swap = [](const char* a, const char* b) {
    return [a, b](Files* files) { std::swap((*files)[a], (*files)[b]); };
  };
  const std::string no_index = "lost: there is no index";
  const std::string all_sounds =
      "added: 12 audio frames up to 0.255996 s, the first at 0: whole, but not in the index; times "
      "by the pace of sound";
  std::vector<std::string> rebuilt = {
      "start record",
      "channel record",
      "attributes record: 640x360",
      "stop record",
      "added: 11 video frames up to 0.213330 s, the first at 0: whole, but not in the index; times "
      "spread along the sound",
      "added: video frame of 97 bytes at 725: not in the index, and perhaps cut off, since it is "
      "the last one; times spread along the sound",
      all_sounds,
      no_index};
  std::vector<SalvageCase> cases = {
      {"NothingToDo", [](Files*) {}, 0, 0, 0, {}},
      {"IndexMissing", [](Files* files) { files->erase(".index"); }, 0, 0, 0, rebuilt},
      {"IndexEmpty", [](Files* files) { (*files)[".index"].clear(); }, 0, 0, 0, rebuilt},
      {"IndexMissingAndALastPictureThatIsCutOff",
       [](Files* files) {
         files->erase(".index");
         (*files)[".264"].resize(800);
       },
       1,
       0,
       1,
       {"start record", "channel record", "attributes record", "stop record",
        "added: 11 video frames",
        "added: video frame of 75 bytes at 725: not in the index, and "
        "perhaps cut off",
        all_sounds, no_index}},
      {"IndexAndPicturesMissing",
       [](Files* files) {
         files->erase(".index");
         files->erase(".264");
       },
       12,
       0,
       0,
       {"start record", "stop record", all_sounds, no_index,
        "lost: 12 video frames: in no file; only the descriptor counts them"}},
      {"IndexAndASoundMissing",
       [](Files* files) {
         files->erase(".index");
         files->erase(".264");
         (*files)[".aac"].resize((*files)[".aac"].size() - Sound(11).size());
       },
       12,
       1,
       0,
       {"start record", "stop record", "added: 11 audio frames", no_index, "lost: 12 video frames",
        "lost: 1 audio frame: in no file; only the descriptor counts it"}},
      {"IndexDescriptorAndPicturesMissing",
       [](Files* files) {
         files->erase(".index");
         files->erase(".desc");
         (*files)[".264"].clear();
       },
       12,
       0,
       0,
       {"start record", "stop record", all_sounds, no_index,
        "lost: there is no video frame, and neither index nor descriptor counts them"}},
      {"IndexInThePlaceOfThePictures",
       swap(".index", ".264"),
       0,
       0,
       0,
       {".264: taken for the index", ".index: taken for the pictures"}},
      {"PicturesInThePlaceOfTheSound",
       swap(".264", ".aac"),
       0,
       0,
       0,
       {".aac: taken for the pictures", ".264: taken for the sound"}},
      {"DescriptorInThePlaceOfTheIndex",
       swap(".index", ".desc"),
       0,
       0,
       0,
       {".desc: taken for the index", ".index: taken for the descriptor"}},
      {"TwoFilesOfPictures",
       [](Files* files) { (*files)[".aac"] = (*files)[".264"]; },
       0,
       12,
       0,
       {".aac: has the pictures, as has another file", "lost: 12 audio frames up to 0.255996 s"}},
      {"BytesInsertedIntoTheSound",
       [](Files* files) { (*files)[".aac"].insert(Sound(0).size() + 10, 24, 'x'); },
       0,
       1,
       0,
       {"lost: audio frame of 34 bytes at 27: damaged",
        "moved: 10 audio frames up to 0.255996 s, the first at 61: found 24 bytes behind",
        "lost: 58 bytes at .aac"}},
      {"BytesMissingFromTheSound",
       [](Files* files) { (*files)[".aac"].erase(Sound(0).size() + 10, 20); },
       0,
       1,
       0,
       {"lost: audio frame of 34 bytes at 27: damaged",
        "moved: 10 audio frames up to 0.255996 s, the first at 61: found 20 bytes before",
        "lost: 14 bytes at .aac"}},
      {"BytesInsertedIntoThePictures",
       [](Files* files) { (*files)[".264"].insert(Picture(0).size() + 20, 24, 'x'); },
       1,
       0,
       0,
       {"lost: video frame of 47 bytes at 30: damaged", "lost: 71 bytes at .264",
        "moved: 10 video frames up to "}},
      {"BytesInsertedTwiceIntoTheSound",
       [](Files* files) {
         std::string& sound = (*files)[".aac"];
         size_t seventh = 0;
         for (int i = 0; i < 7; ++i) seventh += Sound(i).size();
         sound.insert(seventh + 10, 16, 'x');
         sound.insert(Sound(0).size() + 10, 24, 'x');
       },
       0,
       2,
       0,
       {"lost: audio frame of 34 bytes at 27: damaged",
        "moved: 5 audio frames up to 0.149331 s, the first at 61: found 24 bytes behind",
        "lost: audio frame of 76 bytes at 336: damaged",
        "moved: 4 audio frames up to 0.255996 s, the first at 412: found 40 bytes behind",
        "lost: 58 bytes at .aac", "lost: 92 bytes at .aac"}},
      {"BytesInsertedIntoTheKeyFrame",
       [](Files* files) { (*files)[".264"].insert(Picture(0).size() - 2, 24, 'x'); },
       1,
       0,
       1,
       {"lost: video frame of 30 bytes at 0: damaged", "added: video frame of 54 bytes at 0",
        "moved: 11 video frames up to "}},
      {"TheIndexNamesAPictureTooLong",
       [](Files* files) { ++(*files)[".index"][52 + 24 + 24 + 23]; },
       0,
       0,
       0,
       {"lost: video frame of 48 bytes at 30: damaged", "added: video frame of 47 bytes at 30"}},
      {"ATimeFarFromTheOthers",
       [](Files* files) { (*files)[".index"][52 + 24 + 24 + 8] = '\x7F'; },
       0,
       0,
       0,
       {"moved: video record: its time 2130."}},
      {"SoundMissing",
       [](Files* files) { files->erase(".aac"); },
       0,
       12,
       0,
       {"lost: 12 audio frames up to 0.255996 s, the first at 0: not in the file"}},
      {"HalfOfTheIndex",
       [](Files* files) { (*files)[".index"].resize(300); },
       0,
       0,
       0,
       {"lost: 8 bytes of the index", "stop record", "added: 6 video frames",
        "added: video frame of 97 bytes at 725: not in the index, and perhaps cut off",
        "added: 7 audio frames"}},
      {"AHoleInTheIndex",
       [](Files* files) { (*files)[".index"].replace(150, 100, 100, 'x'); },
       0,
       0,
       0,
       {"lost: 120 bytes of the index", "added: 3 video frames up to 0.090663 s",
        "added: 2 audio frames up to 0.085332 s"}},
      {"NoKeyFrame",
       [](Files* files) { (*files)[".264"].replace(0, 30, 30, 'x'); },
       12,
       0,
       0,
       {"lost: 12 video frames up to 0.234666 s, the first at 0: in front of the channel's first "
        "key frame",
        "lost: 822 bytes at the end of .264"}},
  };
  rebuilt.back() = "lost: 600 bytes of the index";
  cases.push_back({"IndexOfZeros", [](Files* files) { (*files)[".index"].assign(600, '\0'); }, 0, 0,
                   0, rebuilt});
  return cases;
}

// All start codes stand three bytes behind the places where the index has frames.
TEST(NamedBytesTest, FramesOfAnIndexThatNamesEachByteOnceAreNotMoved) {
  const TempDir dir;
  const TempDir target;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360);
  std::string pictures = "xxx";
  std::string sounds = "xxx";
  for (int i = 0; i < kFrames; ++i) {
    pictures += Picture(i);
    sounds += Sound(i);
    const bool is_last = i == kFrames - 1;
    const size_t picture = is_last ? pictures.size() : Picture(i).size();
    const size_t sound = is_last ? sounds.size() : Sound(i).size();
    builder.Video(3 + i * 21333, pictures.substr(0, picture));
    builder.Audio((i + 1) * 21333, sounds.substr(0, sound));
    pictures.erase(0, picture);
    sounds.erase(0, sound);
    if (i == 5) builder.RawIndex("garbage").Attributes(3 + i * 21333, 640, 360);
  }
  builder.Stop(kFrames * 21333 + 5).Write();
  const RepairResult result = RepairRecord(dir.path(), target.File("new"), {});
  ASSERT_TRUE(result.repaired) << result.error;
  std::vector<std::string> texts;
  for (const RepairChange& change : result.changes.kept) texts.push_back(change.text);
  EXPECT_THAT(texts, ElementsAre(HasSubstr("7 bytes of the index")));
}

// Between a hole of the file and the next frame, and between two holes.
TEST(RawSoundTest, InNoKnownFormatEachFrameStaysWhereTheIndexHasIt) {
  const TempDir dir;
  const TempDir target;
  RecordBuilder builder(dir);
  builder.Start(0).Audio(21333, "first").RawAudio("hole").Audio(42666, "second");
  builder.Audio(63999, "third").RawAudio("hole").Audio(85332, "fourth").RawAudio("hole");
  builder.Audio(106665, "fifth").Stop(110000).Write();
  const RepairResult result = RepairRecord(dir.path(), target.File("new"), {});
  ASSERT_TRUE(result.repaired) << result.error;
  EXPECT_EQ(result.lost_audio_frames, 0u);
  EXPECT_EQ(kx_testing::ReadFile(target.File("new/SpeakeRecord.aac")),
            "firstsecondthirdfourthfifth");
}

// As large as the pictures before, but of another channel.
TEST(FoundPictureTest, OfANewChannelGetsAttributes) {
  const TempDir dir;
  const TempDir target;
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360).Video(3, Picture(0));
  builder.Audio(21333, Sound(0)).Channel(30000, kx_testing::kDesktop);
  builder.RawVideo(Picture(0) + Picture(1)).Audio(200000, Sound(1)).Stop(210000).Write();
  const RepairResult result = RepairRecord(dir.path(), target.File("new"), {});
  ASSERT_TRUE(result.repaired) << result.error;
  std::vector<std::string> texts;
  for (const RepairChange& change : result.changes.kept) texts.push_back(change.text);
  EXPECT_THAT(texts,
              ElementsAre("attributes record: 640x360, from the picture",
                          HasSubstr("video frame of 30 bytes at 30: whole, but not in the index"),
                          HasSubstr("video frame of 47 bytes at 60: not in the index")));
}

// Nothing but pictures, and they have no timing of their own.
TEST(PicturesAloneTest, GetTheTimesOfTheUsualRate) {
  const TempDir dir;
  const TempDir target;
  Healthy(dir).Write();
  std::filesystem::remove(dir.File("SpeakeRecord.index"));
  std::filesystem::remove(dir.File("SpeakeRecord.aac"));
  const RepairResult result = RepairRecord(dir.path(), target.File("new"), {});
  ASSERT_TRUE(result.repaired) << result.error;
  EXPECT_THAT(result.changes.kept,
              testing::Contains(testing::Field(&RepairChange::text,
                                               HasSubstr("times by the usual rate of pictures"))));
  std::vector<long long> distances;
  const std::string index = kx_testing::ReadFile(target.File("new/SpeakeRecord.index"));
  const std::vector<long long> times = kx_testing::DumpTimes(index);
  for (size_t i = times.size() - kFrames; i + 1 < times.size(); ++i) {
    distances.push_back(times[i] - times[i - 1]);
  }
  EXPECT_THAT(distances, testing::Each(41666));
}

INSTANTIATE_TEST_SUITE_P(Records, RecordSalvageTest, testing::ValuesIn(Cases()),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace kxrtc_host
