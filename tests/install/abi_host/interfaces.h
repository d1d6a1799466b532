// The library's interfaces as a host built long ago would know them: declared here a second time,
// on purpose, so that a change of a slot, an argument or a field breaks the test that uses them.
#ifndef TESTS_INSTALL_ABI_HOST_INTERFACES_H_
#define TESTS_INSTALL_ABI_HOST_INTERFACES_H_

#include <cstdint>

namespace abi_host {

struct VideoConfig {
  uint32_t format;
  uint32_t width;
  uint32_t height;
  uint32_t frame_rate;
  uint32_t bit_rate_kbps;
  uint32_t reserved;
};

struct AudioConfig {
  uint32_t format;
  uint32_t second;
  uint32_t channels;
};

class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void OnLogMessage(const char* message, int32_t severity) = 0;
  virtual void SetDumpScopeLog(bool enable) = 0;
};

// Called by the host and implemented by the library: no destructor among the slots.
class Mp4SinkWriterObserver {
 public:
  virtual void OnStateChanged(int32_t state) = 0;
  virtual void OnError(int32_t error_code) = 0;
  virtual void OnEvent(unsigned int event_code, void* first, void* second) = 0;

 protected:
  ~Mp4SinkWriterObserver() = default;
};

class Mp4SinkWriter {
 public:
  virtual void Uncalled0() = 0;
  virtual void Uncalled1() = 0;
  virtual bool StartStreaming(const char* output_path, const VideoConfig* video,
                              const AudioConfig* audio, Mp4SinkWriterObserver* observer) = 0;
  virtual void StopStreaming() = 0;
  virtual bool SetNewInputVideoAttributes(uint32_t width, uint32_t height,
                                          int32_t rotation_angle) = 0;
  virtual bool PushVideoSample(int64_t timestamp_us, const uint8_t* data, uint32_t size) = 0;
  virtual bool PushAudioSample(int64_t timestamp_us, const uint8_t* data, uint32_t size) = 0;
  virtual bool SetTRVVlogPath(const char* path) = 0;
  virtual bool SetD3dManger(void* d3d11m, void* d3d9m) = 0;  // sic
  virtual bool SetPreferHW(bool prefer) = 0;
  virtual bool SetDx9Caps(int caps) = 0;
  virtual bool GetDx9Caps(int* caps) = 0;
  virtual bool GetDx9CapsType(int* type) = 0;

 protected:
  ~Mp4SinkWriter() = default;
};

class MediaComponentFactory {
 public:
  virtual void Uncalled0() = 0;
  virtual void Uncalled1() = 0;
  virtual void Uncalled2() = 0;
  virtual void Uncalled3() = 0;
  virtual bool CreateMp4SinkWriter(Mp4SinkWriter** writer, bool is_desktop) = 0;
  virtual void ReleaseMp4SinkWriter(Mp4SinkWriter* writer) = 0;

 protected:
  ~MediaComponentFactory() = default;
};

class SpeakerRecordTranscoderObserver {
 public:
  virtual void OnTranscodeProgress(uint32_t percent, uint32_t position) = 0;
  virtual void OnTranscodeCompleted() = 0;
  virtual void OnTranscodeError(int32_t error_code) = 0;

 protected:
  ~SpeakerRecordTranscoderObserver() = default;
};

class SpeakerRecordTranscoder {
 public:
  virtual bool EstimateOutputSize(const char* folder, long long* size) = 0;
  virtual bool StartTranscoding(const char* folder, const char* output_path,
                                SpeakerRecordTranscoderObserver* observer,
                                MediaComponentFactory* factory) = 0;
  virtual bool PauseTranscoding() = 0;
  virtual bool ResumeTranscoding() = 0;
  virtual bool StopTranscoding() = 0;
  virtual bool SetTRVVlogPath(const char* path) = 0;
  virtual bool SetD3dManger(void* d3d11m, void* d3d9m) = 0;  // sic
  virtual bool SetPreferHW(bool prefer) = 0;
  virtual bool SetDx9Caps(int caps) = 0;
  virtual bool GetDx9Caps(int* caps) = 0;
  virtual bool GetDx9CapsType(int* type) = 0;
  virtual ~SpeakerRecordTranscoder() = default;
};

class Runnable {
 public:
  virtual ~Runnable() = default;
  virtual void Run(void* thread) = 0;
  virtual void Stop() = 0;
};

using SetLogSinkFunction = bool (*)(LogSink*);
using CreateSpeakerRecordTranscoderFunction = bool (*)(void**);
using ReleaseSpeakerRecordTranscoderFunction = bool (*)(void*);

}  // namespace abi_host

#endif  // TESTS_INSTALL_ABI_HOST_INTERFACES_H_
