// A host that knows the library only by its file name and by the interfaces it was once built
// against: it opens the library, resolves the three C functions and transcodes a whole record.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/install/abi_host/interfaces.h"
#include "tests/install/abi_host/record_bytes.h"

namespace abi_host {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr int kDeadlineSeconds = 60;

// What was called, in order, on any thread.
class Trace {
 public:
  void Add(const std::string& line) {
    std::lock_guard<std::mutex> guard(lock_);
    lines_.push_back(line);
    changed_.notify_all();
  }

  std::vector<std::string> lines() const {
    std::lock_guard<std::mutex> guard(lock_);
    return lines_;
  }

  // True when a line that begins with `start` has come before the deadline.
  bool WaitFor(const std::string& start) {
    std::unique_lock<std::mutex> guard(lock_);
    return changed_.wait_for(guard, std::chrono::seconds(kDeadlineSeconds), [&] {
      for (const std::string& line : lines_) {
        if (line.rfind(start, 0) == 0) return true;
      }
      return false;
    });
  }

 private:
  mutable std::mutex lock_;
  std::condition_variable changed_;
  std::vector<std::string> lines_;
};

std::string Pointer(const void* pointer) {
  return std::to_string(reinterpret_cast<uintptr_t>(pointer));
}

class TracingSink : public LogSink {
 public:
  void OnLogMessage(const char* message, int32_t severity) override {
    trace.Add(std::to_string(severity) + " " + message);
  }
  void SetDumpScopeLog(bool enable) override { trace.Add(enable ? "dump on" : "dump off"); }

  Trace trace;
};

class TracingWriter final : public Mp4SinkWriter {
 public:
  explicit TracingWriter(Trace* trace) : trace_(*trace) {}

  void Uncalled0() override { trace_.Add("writer slot 0"); }
  void Uncalled1() override { trace_.Add("writer slot 1"); }

  bool StartStreaming(const char* output_path, const VideoConfig* video, const AudioConfig* audio,
                      Mp4SinkWriterObserver* observer) override {
    observer_ = observer;
    trace_.Add(std::string("start ") + output_path + " video " + std::to_string(video->format) +
               " " + std::to_string(video->width) + "x" + std::to_string(video->height) + " " +
               std::to_string(video->frame_rate) + " " + std::to_string(video->bit_rate_kbps) +
               " " + std::to_string(video->reserved) + " audio " + std::to_string(audio->format) +
               " " + std::to_string(audio->second) + " " + std::to_string(audio->channels));
    return can_start;
  }

  void StopStreaming() override { trace_.Add("stop"); }

  bool SetNewInputVideoAttributes(uint32_t width, uint32_t height, int32_t rotation) override {
    trace_.Add("attributes " + std::to_string(width) + "x" + std::to_string(height) + " r" +
               std::to_string(rotation));
    return true;
  }

  bool PushVideoSample(int64_t timestamp_us, const uint8_t* data, uint32_t size) override {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    // The library's own pictures begin with an access unit delimiter, which no frame here does.
    const bool filler = bytes.rfind(std::string("\0\0\0\1\x09", 5), 0) == 0;
    trace_.Add("video " + std::to_string(timestamp_us) + " " +
               (filler ? "filler" : bytes.substr(bytes.size() - 2)));
    return true;
  }

  bool PushAudioSample(int64_t timestamp_us, const uint8_t* data, uint32_t size) override {
    trace_.Add("audio " + std::to_string(timestamp_us) + " " +
               std::string(reinterpret_cast<const char*>(data), size));
    if (pushed_audio_++ == 0) {
      if (reports) {
        observer_->OnStateChanged(5);
        observer_->OnEvent(9, this, nullptr);
        observer_->OnError(7);
        observer_->OnError(1);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(first_audio_takes_ms));
    }
    return !refuses_audio;
  }

  bool SetTRVVlogPath(const char* path) override {
    trace_.Add(std::string("log path '") + path + "'");
    return true;
  }
  bool SetD3dManger(void* d3d11m, void* d3d9m) override {  // sic
    trace_.Add("d3d11 " + Pointer(d3d11m) + " d3d9 " + Pointer(d3d9m));
    return true;
  }
  bool SetPreferHW(bool prefer) override {
    trace_.Add(prefer ? "prefer hardware" : "prefer software");
    return true;
  }
  bool SetDx9Caps(int caps) override {
    trace_.Add("set caps " + std::to_string(caps));
    return true;
  }
  bool GetDx9Caps(int* caps) override {
    *caps = 91;
    return true;
  }
  bool GetDx9CapsType(int* type) override {
    *type = 92;
    return true;
  }

  bool can_start = true;
  bool refuses_audio = false;
  bool reports = false;
  int first_audio_takes_ms = 0;

 private:
  Trace& trace_;
  Mp4SinkWriterObserver* observer_ = nullptr;
  int pushed_audio_ = 0;
};

class TracingFactory final : public MediaComponentFactory {
 public:
  TracingFactory(Trace* trace, TracingWriter* writer) : trace_(*trace), writer_(writer) {}

  void Uncalled0() override { trace_.Add("factory slot 0"); }
  void Uncalled1() override { trace_.Add("factory slot 1"); }
  void Uncalled2() override { trace_.Add("factory slot 2"); }
  void Uncalled3() override { trace_.Add("factory slot 3"); }
  bool CreateMp4SinkWriter(Mp4SinkWriter** writer, bool is_desktop) override {
    trace_.Add(is_desktop ? "create desktop" : "create");
    *writer = writer_;
    return writer_ != nullptr;
  }
  void ReleaseMp4SinkWriter(Mp4SinkWriter* writer) override {
    trace_.Add(writer == writer_ ? "release" : "release of a stranger");
  }

 private:
  Trace& trace_;
  TracingWriter* writer_;
};

class TracingObserver final : public SpeakerRecordTranscoderObserver {
 public:
  explicit TracingObserver(Trace* trace) : trace_(*trace) {}

  void OnTranscodeProgress(uint32_t percent, uint32_t position) override {
    trace_.Add("progress " + std::to_string(percent) + "% at " + std::to_string(position));
  }
  void OnTranscodeCompleted() override { trace_.Add("completed" + Where()); }
  void OnTranscodeError(int32_t error_code) override {
    trace_.Add("error " + std::to_string(error_code) + Where());
  }

 private:
  std::string Where() const {
    return std::this_thread::get_id() == control_ ? " on the control thread" : " on the worker";
  }

  Trace& trace_;
  std::thread::id control_ = std::this_thread::get_id();
};

std::string Frame(uint8_t header, const std::string& mark) {
  return std::string("\0\0\0\1", 4) + static_cast<char>(header) + "\x88" + mark;
}

// A key frame brings its parameter sets; a delta frame is one slice.
std::string Key(const std::string& mark) {
  return Frame(0x67, "..") + Frame(0x68, "..") + Frame(0x65, mark);
}
std::string Delta(const std::string& mark) { return Frame(0x41, mark); }

std::string Descriptor(int desktop, const std::vector<int>& audio_frames) {
  std::string sessions;
  for (int frames : audio_frames) {
    sessions += std::string(sessions.empty() ? "" : ",") +
                R"({"sessoin_start_timestamp_us":1,"sessoin_end_timestamp_us":2,)" +  // sic
                R"("session_video_frame_count":3,"session_video_switch_count":4,)" +
                R"("session_audio_frame_count":)" + std::to_string(frames) + "}";
  }
  return R"({"speaker_record_overall":{"record_session_count":)" +
         std::to_string(audio_frames.size()) + R"(,"contain_video":1,"contain_desktop":)" +
         std::to_string(desktop) + R"(,"audio_channel_count":2},"speaker_record_session":[)" +
         sessions + "]}";
}

class AbiHostTest : public testing::Test {
 protected:
  AbiHostTest() {
    const std::string pattern = testing::TempDir() + "abi_host_XXXXXX";
    std::vector<char> path(pattern.c_str(), pattern.c_str() + pattern.size() + 1);
    EXPECT_NE(mkdtemp(path.data()), nullptr);
    folder_ = std::string(path.data()) + "/";
  }

  ~AbiHostTest() override {
    if (transcoder_ != nullptr) release_(transcoder_);
    if (set_log_sink_ != nullptr) set_log_sink_(nullptr);
    std::filesystem::remove_all(folder_);
  }

  void SetUp() override {
    library_ = dlopen(getenv("RTC_TRANSCODER_LIBRARY"), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library_, nullptr) << dlerror();
    Resolve("SetLogSink", &set_log_sink_);
    Resolve("CreateSpeakerRecordTranscoder", &create_);
    Resolve("ReleaseSpeakerRecordTranscoder", &release_);
    if (HasFatalFailure()) return;
    ASSERT_TRUE(set_log_sink_(&sink_));
    void* object = nullptr;
    ASSERT_TRUE(create_(&object));
    transcoder_ = static_cast<SpeakerRecordTranscoder*>(object);
    ASSERT_NE(transcoder_, nullptr);
  }

  template <typename Function>
  void Resolve(const char* name, Function* function) {
    *function = reinterpret_cast<Function>(dlsym(library_, name));
    ASSERT_NE(*function, nullptr) << name;
  }

  bool Start() {
    return transcoder_->StartTranscoding(folder_.c_str(), "out.mp4", &observer_, &factory_);
  }

  std::string folder_;
  Trace trace_;
  TracingSink sink_;
  TracingWriter writer_{&trace_};
  TracingFactory factory_{&trace_, &writer_};
  TracingObserver observer_{&trace_};
  void* library_ = nullptr;
  SetLogSinkFunction set_log_sink_ = nullptr;
  CreateSpeakerRecordTranscoderFunction create_ = nullptr;
  ReleaseSpeakerRecordTranscoderFunction release_ = nullptr;
  SpeakerRecordTranscoder* transcoder_ = nullptr;
};

// Two stretches of recording with a change of camera, an audio-only stretch, a frame that is late
// and delta frames that no key frame precedes.
RecordBytes TwoSessions() {
  RecordBytes record;
  record.Start(1000000).Channel(1000000, 1).Attributes(1000001, 90, 1280, 720);
  record.Video(1000002, Key("k1"));
  record.Audio(1010000, "a1").Video(1030000, Delta("d1"));
  record.Audio(1031000, "a2").Video(1030500, Delta("d2"));
  record.Channel(1050000, 0).Audio(1060000, "a3");
  record.Channel(1100000, 2).Attributes(1100001, -90, 320, 240);
  record.Video(1100002, Delta("d3")).Video(1140000, Key("k2")).Audio(1150000, "a4").Stop(1200000);
  record.Start(9000000).Audio(9000500, "a5").Video(9001000, Delta("d4"));
  record.Video(9020000, Key("k3")).Stop(9100000);
  return record;
}

TEST_F(AbiHostTest, TranscodesAWholeRecord) {
  TwoSessions().Save(folder_, Descriptor(0, {4, 1}));
  ASSERT_TRUE(Start());
  ASSERT_TRUE(trace_.WaitFor("completed"));
  EXPECT_TRUE(transcoder_->StopTranscoding());
  EXPECT_THAT(
      trace_.lines(),
      ElementsAre("create", "log path ''", "prefer hardware",
                  "start out.mp4 video 4 640x360 24 400 0 audio 2 32 2", "attributes 1280x720 r90",
                  "video 10000 k1", "audio 21333 a1", "video 41333 d1", "audio 42666 a2",
                  "video 51333 d2", "attributes 640x360 r0", "video 61666 filler",
                  "video 71666 filler", "video 81666 filler", "video 91666 filler",
                  "video 101666 filler", "video 111666 filler", "video 121666 filler",
                  "video 131666 filler", "audio 63999 a3", "attributes 320x240 r-90",
                  "video 143999 k2", "audio 85332 a4", "audio 106665 a5", "video 153999 k3",
                  "completed on the worker", "stop", "release"));
}

TEST_F(AbiHostTest, FillsAnAudioOnlyRecordAndKeepsTheClockInASecondRun) {
  RecordBytes().Start(500).Channel(600, 0).Audio(700, "a1").Stop(800).Save(folder_,
                                                                           Descriptor(1, {1}));
  transcoder_->SetD3dManger(reinterpret_cast<void*>(11), reinterpret_cast<void*>(9));
  transcoder_->SetPreferHW(false);
  transcoder_->SetTRVVlogPath("logs");
  ASSERT_TRUE(Start());
  ASSERT_TRUE(trace_.WaitFor("completed"));
  int value = 0;
  EXPECT_TRUE(transcoder_->PauseTranscoding());
  EXPECT_TRUE(transcoder_->ResumeTranscoding());
  EXPECT_TRUE(transcoder_->SetDx9Caps(90));
  EXPECT_TRUE(transcoder_->GetDx9Caps(&value));
  EXPECT_EQ(value, 91);
  EXPECT_TRUE(transcoder_->GetDx9CapsType(&value));
  EXPECT_EQ(value, 92);
  EXPECT_TRUE(transcoder_->StopTranscoding());
  EXPECT_FALSE(transcoder_->PauseTranscoding());
  EXPECT_THAT(
      trace_.lines(),
      ElementsAre("create desktop", "log path 'logs'", "d3d11 11 d3d9 9", "prefer software",
                  "start out.mp4 video 4 1280x720 24 1200 0 audio 2 32 2", "attributes 640x360 r0",
                  "video 10000 filler", "video 20000 filler", "video 30000 filler",
                  "video 40000 filler", "video 50000 filler", "video 60000 filler",
                  "video 70000 filler", "video 80000 filler", "audio 21333 a1",
                  "completed on the worker", "set caps 90", "stop", "release"));

  Trace second;
  TracingWriter writer(&second);
  TracingFactory factory(&second, &writer);
  TracingObserver observer(&second);
  ASSERT_TRUE(transcoder_->StartTranscoding(folder_.c_str(), "2.mp4", &observer, &factory));
  ASSERT_TRUE(second.WaitFor("completed"));
  EXPECT_TRUE(transcoder_->StopTranscoding());
  EXPECT_THAT(second.lines(), Contains("audio 42666 a1"));
  EXPECT_THAT(second.lines(), Contains("video 90000 filler"));
}

TEST_F(AbiHostTest, ReportsProgressByTheIndexBytesReadAfterASecond) {
  const RecordBytes record = TwoSessions();
  record.Save(folder_, Descriptor(0, {4, 1}));
  writer_.first_audio_takes_ms = 1050;
  ASSERT_TRUE(Start());
  ASSERT_TRUE(trace_.WaitFor("completed"));
  // Start, channel, attributes, one video and one audio frame are read when the report is due.
  const size_t position = 12 + 16 + 24 + 24 + 24;
  const size_t percent = position * 100 / record.index().size();
  EXPECT_THAT(trace_.lines(),
              Contains("progress " + std::to_string(percent) + "% at " + std::to_string(position)));
}

TEST_F(AbiHostTest, ForwardsTheWritersReports) {
  TwoSessions().Save(folder_, Descriptor(0, {4, 1}));
  writer_.reports = true;
  ASSERT_TRUE(Start());
  ASSERT_TRUE(trace_.WaitFor("completed"));
  EXPECT_THAT(trace_.lines(), Contains("error 2 on the worker").Times(1));
  EXPECT_TRUE(transcoder_->StopTranscoding());
  EXPECT_THAT(sink_.trace.lines(), Contains(EndsWith("]state = 5\n")));
  EXPECT_THAT(sink_.trace.lines(), Contains(EndsWith("]event_code = 9\n")));
  EXPECT_THAT(sink_.trace.lines(), Contains(EndsWith("]error_code = 7\n")));
  EXPECT_THAT(sink_.trace.lines(), Contains(EndsWith("]error_code = 1\n")));
}

TEST_F(AbiHostTest, ReportsARecordThatIsNotThere) {
  EXPECT_FALSE(Start());
  EXPECT_THAT(trace_.lines(), ElementsAre("error 1 on the control thread"));
}

TEST_F(AbiHostTest, ReportsAWriterThatDoesNotStart) {
  TwoSessions().Save(folder_, Descriptor(0, {4, 1}));
  writer_.can_start = false;
  EXPECT_FALSE(Start());
  EXPECT_THAT(trace_.lines(), Contains("error 3 on the control thread").Times(1));
}

TEST_F(AbiHostTest, ReportsAReplayThatFails) {
  TwoSessions().Save(folder_, Descriptor(0, {4, 1}));
  writer_.refuses_audio = true;
  ASSERT_TRUE(Start());
  ASSERT_TRUE(trace_.WaitFor("error 4 on the worker"));
  EXPECT_TRUE(transcoder_->StopTranscoding());
  EXPECT_THAT(trace_.lines(), Not(Contains(StartsWith("completed"))));
  EXPECT_THAT(sink_.trace.lines(),
              Contains(EndsWith("]failed in mp4_sink_writer_->PushAudioSample\n")));
}

TEST_F(AbiHostTest, EstimatesTheOutputSizeFromTheDescriptor) {
  long long size = -1;
  EXPECT_FALSE(transcoder_->EstimateOutputSize(folder_.c_str(), &size));
  EXPECT_EQ(size, 0);
  RecordBytes().Save(folder_, Descriptor(1, {600, 400}));
  EXPECT_TRUE(transcoder_->EstimateOutputSize(folder_.c_str(), &size));
  EXPECT_EQ(size, 3199950);
  RecordBytes().Save(folder_, Descriptor(0, {4, 1}));
  EXPECT_TRUE(transcoder_->EstimateOutputSize(folder_.c_str(), &size));
  EXPECT_EQ(size, 5333);
}

TEST_F(AbiHostTest, LogsWithTheTagSeverityFunctionAndLine) {
  EXPECT_FALSE(release_(nullptr));
  EXPECT_THAT(sink_.trace.lines(),
              Contains(AllOf(StartsWith("4 [kxrtc][ERROR][ReleaseSpeakerRecordTranscoder]["),
                             EndsWith("]parameters are nullptr\n"))));
}

TEST_F(AbiHostTest, StopsTheWorkerWhenATranscoderIsReleasedInTheMiddle) {
  TwoSessions().Save(folder_, Descriptor(0, {4, 1}));
  writer_.first_audio_takes_ms = 200;
  ASSERT_TRUE(Start());
  ASSERT_TRUE(trace_.WaitFor("audio 21333"));
  EXPECT_TRUE(release_(transcoder_));
  transcoder_ = nullptr;
  const std::vector<std::string> lines = trace_.lines();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[lines.size() - 2], "stop");
  EXPECT_EQ(lines.back(), "release");
  EXPECT_THAT(lines, Not(Contains(StartsWith("completed"))));
}

// A task handler of the library, made through its mangled names, seen as the runnable that begins
// it: what counts is that stopping is the slot behind the destructor and running.
TEST_F(AbiHostTest, StopsARunnableThroughTheSlotBehindItsDestructorAndRun) {
  void (*construct)(void*);
  void (*destroy)(void*);
  bool (*is_stopped)(const void*);
  Resolve("_ZN10kx_utility11TaskHandlerC1Ev", &construct);
  Resolve("_ZN10kx_utility11TaskHandlerD1Ev", &destroy);
  Resolve("_ZNK10kx_utility11TaskHandler12IsStopThreadEv", &is_stopped);
  if (HasFatalFailure()) return;
  alignas(64) char object[4096] = {};  // More than the handler needs.
  construct(object);
  EXPECT_FALSE(is_stopped(object));
  reinterpret_cast<Runnable*>(object)->Stop();
  EXPECT_TRUE(is_stopped(object));
  destroy(object);
}

}  // namespace
}  // namespace abi_host
