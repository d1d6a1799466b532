#include "host/conference/recorded_files.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>

#include "tests/testing/recorded_conference.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

namespace fs = std::filesystem;

// A recording that is looked at from beside the recorder.
class WatchedRecording {
 public:
  WatchedRecording() {
    conference_.recorder.SetListener(&watch_);
    EXPECT_TRUE(conference_.recorder.Initialize(folder(), &conference_.mixer, nullptr));
    std::string error;
    EXPECT_TRUE(files_.Open(folder(), &error)) << error;
    conference_.StartAndDrain();
  }

  // Every kind of record, in several sessions.
  void Record(int sessions) {
    for (int i = 0; i < sessions; ++i) {
      if (i > 0) {
        conference_.recorder.StopRecording();
        conference_.StartAndDrain();
      }
      conference_.MapRemote({{11, 1, kxrtc::PeerConnectionConductor::kCamera},
                             {12, 2, kxrtc::PeerConnectionConductor::kDesktop}});
      for (int k = 0; k < 120; ++k) {
        conference_.Key(11, "key" + std::to_string(k));
        conference_.Delta(11, "delta", 90);
        conference_.Audio("audio");
        if (k == 100) conference_.Key(12, "share");
      }
    }
    conference_.Drain();
  }

  void End() {
    conference_.recorder.StopRecording();
    conference_.recorder.Finalize();
  }

  std::string folder() const { return conference_.dir.path(); }
  std::string File(const char* extension) const {
    return conference_.dir.File(std::string("SpeakeRecord") + extension);
  }
  std::string Missing() const { return files_.FindMissing(); }
  std::string Damage() const { return files_.FindDamage(watch_.counts()); }

 private:
  RecordingWatch watch_;
  kx_testing::RecordedConference conference_;
  RecordedFiles files_;
};

// Every write of this process to the file fails from now on, as on a disk without room.
void MakeWritesFail(const std::string& path) {
  const int full = open("/dev/full", O_RDWR | O_CLOEXEC);
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    const int descriptor = std::stoi(entry.path().filename());
    const int mode = fcntl(descriptor, F_GETFL) & O_ACCMODE;
    std::error_code gone;
    if (fs::read_symlink(entry.path(), gone) == path && mode == O_RDWR) dup2(full, descriptor);
  }
  close(full);
}

TEST(RecordedFilesTest, FindsNothingInWholeRecords) {
  for (const int sessions : {0, 1, 3}) {
    WatchedRecording recording;
    recording.Record(sessions);
    EXPECT_EQ(recording.Missing(), "");
    recording.End();
    EXPECT_EQ(recording.Damage(), "") << sessions;
  }
}

struct Accident {
  const char* name;
  const char* extension;
  std::function<void(WatchedRecording*, const std::string& path)> happens;
  const char* told;  // Behind the path of the file.
  bool missing;      // The names alone show it.
};

class RecordedFilesAccidentTest : public ::testing::TestWithParam<Accident> {};

TEST_P(RecordedFilesAccidentTest, IsTold) {
  const Accident& accident = GetParam();
  WatchedRecording recording;
  const std::string path = recording.File(accident.extension);
  recording.Record(1);
  accident.happens(&recording, path);
  EXPECT_EQ(recording.Missing(), accident.missing ? path + accident.told : "");
  recording.Record(1);
  recording.End();
  EXPECT_THAT(recording.Damage(), ::testing::MatchesRegex(path + accident.told));
}

void Remove(WatchedRecording*, const std::string& path) { fs::remove(path); }
void RemoveAll(WatchedRecording* recording, const std::string&) {
  fs::remove_all(recording->folder());
}
void Move(WatchedRecording*, const std::string& path) { fs::rename(path, path + ".old"); }
void Replace(WatchedRecording*, const std::string& path) {
  kx_testing::WriteFile(path + ".new", kx_testing::ReadFile(path));
  fs::rename(path + ".new", path);
}
// As a second recorder does that takes no notice of the first one.
void Overwrite(WatchedRecording*, const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
  EXPECT_EQ(write(file, "another record", 14), 14);
  close(file);
}
void Grow(WatchedRecording*, const std::string& path) {
  fs::resize_file(path, fs::file_size(path) + 100000);
}
void Fail(WatchedRecording*, const std::string& path) { MakeWritesFail(path); }

constexpr char kRemoved[] = ": was removed while it was recorded";
constexpr char kReplaced[] = ": was replaced by another file while it was recorded";
constexpr char kSize[] = ": has [0-9]+ bytes, but [0-9]+ were recorded";
constexpr char kOldDescriptor[] =
    ": could not be written to its end; kxrtc repair makes a record with a new one";

INSTANTIATE_TEST_SUITE_P(
    Accidents, RecordedFilesAccidentTest,
    ::testing::Values(Accident{"VideoRemoved", ".264", Remove, kRemoved, true},
                      Accident{"AudioRemoved", ".aac", Remove, kRemoved, true},
                      Accident{"DescriptorRemoved", ".desc", Remove, kRemoved, true},
                      Accident{"FolderRemoved", ".index", RemoveAll, kRemoved, true},
                      Accident{"IndexMoved", ".index", Move, ": was moved while it was recorded",
                               true},
                      Accident{"IndexReplaced", ".index", Replace, kReplaced, true},
                      Accident{"DescriptorReplaced", ".desc", Replace, kReplaced, true},
                      Accident{"IndexOverwritten", ".index", Overwrite,
                               ": is not as it was recorded, another program wrote into it", false},
                      Accident{"IndexTooLong", ".index", Grow, kSize, false},
                      Accident{"AudioTooLong", ".aac", Grow, kSize, false},
                      Accident{"DescriptorNotWritten", ".desc", Fail, kOldDescriptor, false}),
    [](const auto& param_info) { return param_info.param.name; });

TEST(RecordedFilesTest, FindsFilesThatWereCutAfterTheEnd) {
  for (const char* const extension : {".264", ".aac", ".index", ".desc"}) {
    WatchedRecording recording;
    recording.Record(1);
    recording.End();
    const std::string path = recording.File(extension);
    fs::resize_file(path, fs::file_size(path) - 2);  // The last byte may be a line end.
    EXPECT_THAT(recording.Damage(), ::testing::StartsWith(path)) << extension;
    fs::resize_file(path, 0);
    EXPECT_THAT(recording.Damage(), ::testing::StartsWith(path)) << extension;
  }
}

// The last write only, which holds nothing but the time of the stop.
TEST(RecordedFilesTest, FindsADescriptorWithoutTheStop) {
  WatchedRecording recording;
  recording.Record(1);
  const std::string path = recording.File(".desc");
  kx_testing::WriteFile(path + ".old", kx_testing::ReadFile(path));
  MakeWritesFail(path);
  recording.End();
  EXPECT_EQ(recording.Damage(), path + kOldDescriptor);
}

TEST(RecordedFilesTest, ToldFailuresMayLeaveBytesBehind) {
  WatchedRecording recording;
  recording.Record(1);
  recording.End();
  RecordCounts counts;
  RecordingWatch none;
  none.OnWriteFailed({5, kxrtc::RecordFile::kVideo, true});
  counts = none.counts();
  RecordedFiles files;
  std::string error;
  ASSERT_TRUE(files.Open(recording.folder(), &error)) << error;
  // All bytes are left behind here. The descriptor is not that of an empty record.
  EXPECT_EQ(files.FindDamage(counts), recording.File(".desc") + kOldDescriptor);
}

TEST(RecordedFilesTest, NamesAFileThatIsMissingFromTheStart) {
  const kx_testing::TempDir dir;
  RecordedFiles files;
  std::string error;
  EXPECT_FALSE(files.Open(dir.path(), &error));
  EXPECT_EQ(error, dir.File("SpeakeRecord.index") + ": No such file or directory");
}

}  // namespace
}  // namespace kxrtc_host
