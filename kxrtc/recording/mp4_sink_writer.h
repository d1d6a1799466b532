// The MP4 writer of the host. The library does not mux or encode: it pushes timed samples into this
// interface (docs/embedding.md has the order of the calls).
#ifndef KXRTC_RECORDING_MP4_SINK_WRITER_H_
#define KXRTC_RECORDING_MP4_SINK_WRITER_H_

#include <cstdint>

#include "kx_utility/export.h"

namespace kxrtc {

// The wanted video track. Six 32-bit fields, binary interface.
struct VideoConfig {
  uint32_t format = 0;  // Format code of the host; the library passes kVideoFormatCode.
  uint32_t width = 0;   // Pixels.
  uint32_t height = 0;
  uint32_t frame_rate = 0;     // Frames a second.
  uint32_t bit_rate_kbps = 0;  // kbit/s.
  uint32_t reserved = 0;       // Passed as 0.
};

// The audio track. Three 32-bit fields, binary interface.
struct AudioConfig {
  uint32_t format = 0;    // Format code of the host; the library passes kAudioFormatCode.
  uint32_t reserved = 0;  // The library passes kAudioConfigReserved.
  uint32_t channel_count = 0;
};

inline constexpr uint32_t kVideoFormatCode = 4;
inline constexpr uint32_t kAudioFormatCode = 2;
inline constexpr uint32_t kAudioConfigReserved = 32;

// States of a writer, numbered by the host. The library only logs them.
enum MediaComponentState : int32_t {};

// Errors of a writer, numbered by the host except this one, which the library reports.
enum Mp4SinkWriterErrorCode : int32_t {
  kMp4SinkWriterFatalError = 1,
};

// Called by a writer. No destructor among the slots. Slot order is binary interface: append only.
class KX_EXPORT Mp4SinkWriterObserver {
 public:
  virtual void OnStateChanged(MediaComponentState state) = 0;
  virtual void OnError(Mp4SinkWriterErrorCode error_code) = 0;
  virtual void OnEvent(unsigned int event_code, void* parameter1, void* parameter2) = 0;

 protected:
  ~Mp4SinkWriterObserver() = default;
};

// Host-implemented; created and released by the MediaComponentFactory, never deleted here. No
// function may throw: an exception that leaves one ends the process.
// Threads: the control thread creates, starts, stops and configures; one worker thread pushes. The
// worker is joined before the writer is stopped. Slot order is binary interface: append only.
class KX_EXPORT Mp4SinkWriter {
 public:
  // Two slots that belong to the host; the library never calls them.
  virtual void HostOperation1() {}
  virtual void HostOperation2() {}

  // Starts a file at `output_path`. The configurations are copied; `observer` stays valid until
  // StopStreaming() returns. False: nothing was started.
  virtual bool StartStreaming(const char* output_path, const VideoConfig* video,
                              const AudioConfig* audio, Mp4SinkWriterObserver* observer) = 0;

  // Ends the stream and finishes the file. Also called on a writer whose start failed.
  virtual void StopStreaming() = 0;

  // The video samples that follow show pictures of `width` x `height` pixels, to be turned
  // clockwise by `rotation_angle` degrees. Comes before the first sample and at every change, the
  // change between recorded video and the built-in filler clip included.
  virtual bool SetNewInputVideoAttributes(uint32_t width, uint32_t height,
                                          int32_t rotation_angle) = 0;

  // One access unit: Annex B, start codes included, valid during the call only. Video timestamps
  // (output time, microseconds) increase by at least 10000 from sample to sample.
  virtual bool PushVideoSample(int64_t timestamp_us, const uint8_t* data, uint32_t size) = 0;

  // One encoded audio frame, valid during the call only. Output time increases by 21333
  // microseconds from frame to frame.
  virtual bool PushAudioSample(int64_t timestamp_us, const uint8_t* data, uint32_t size) = 0;

  // Settings that pass through from the transcoder of the same name, before StartStreaming().
  virtual bool SetTRVVlogPath(const char* log_path) = 0;
  virtual bool SetD3dManger(void* d3d11m, void* d3d9m) = 0;  // sic
  virtual bool SetPreferHW(bool preferHW) = 0;
  virtual bool SetDx9Caps(int caps) = 0;
  virtual bool GetDx9Caps(int* caps) = 0;
  virtual bool GetDx9CapsType(int* type) = 0;

 protected:
  ~Mp4SinkWriter() = default;
};

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_MP4_SINK_WRITER_H_
