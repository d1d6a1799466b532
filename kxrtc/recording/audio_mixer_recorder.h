// The host's audio mixer as the recorder sees it: it mixes the voices of the conference, encodes
// the mix and delivers the encoded frames (docs/embedding_recorder.md has the order of the
// calls). Operations named HostOperation... are the slots of the host's own interface before those
// that the recorder calls; the recorder never calls them.
// What the host implements must not throw: an exception that leaves it ends the process.
#ifndef KXRTC_RECORDING_AUDIO_MIXER_RECORDER_H_
#define KXRTC_RECORDING_AUDIO_MIXER_RECORDER_H_

#include <cstdint>

#include "kx_utility/export.h"

namespace kxrtc {

// The one mode in which the recorder runs a mixer. It means: encode the mix.
inline constexpr int kAudioMixerMode = 2;

// What is mixed: everybody but the local participant, whose microphone is muted, or everybody.
inline constexpr int kAudioMixerSourceRemote = 2;
inline constexpr int kAudioMixerSourceAll = 3;

// One encoded frame of the mix. Implemented by the host. Slot order is binary interface: append
// only.
class KX_EXPORT EncodedAudioFrame {
 public:
  virtual void HostOperation1() {}
  virtual void HostOperation2() {}

  virtual uint32_t GetLength() = 0;      // Bytes at GetData().
  virtual const uint8_t* GetData() = 0;  // One encoded frame, for example of AAC.

 protected:
  ~EncodedAudioFrame() = default;
};

// Takes the mixer's output. Slot order is binary interface: append only.
class KX_EXPORT AudioMixerRecorderSink {
 public:
  virtual ~AudioMixerRecorderSink() = default;

  // The next frame of the mix. Borrowed: valid during the call only. Called on a thread of the
  // mixer, which may be the thread inside AudioMixerRecorder::Start().
  virtual bool OnEncodedData(EncodedAudioFrame* frame) = 0;
};

// Implemented by the host; created and released by its AudioFactory, never deleted here.
// Threads: Start(), GetAudioFormat() and Stop() come from the recorder's task thread, the last
// Stop() from the control thread after the task thread has ended: one call at a time.
// Slot order is binary interface: append only.
class KX_EXPORT AudioMixerRecorder {
 public:
  virtual void HostOperation1() {}
  virtual void HostOperation2() {}

  // Starts to mix and to call `sink`, or changes the source of a running mixer.
  virtual bool Start(int mode, int source, AudioMixerRecorderSink* sink) = 0;

  // Ends both. Also called on a mixer that is not running. After it returns the sink is not called.
  virtual bool Stop() = 0;

  // The format of the encoded frames: `*channels` is the channel count. The other two are the
  // host's own and passed on, for example samples a second and bits a sample.
  virtual bool GetAudioFormat(uint32_t* channels, uint32_t* host_value1, uint32_t* host_value2) = 0;

 protected:
  ~AudioMixerRecorder() = default;
};

// Implemented by the host. Threads: control. Slot order is binary interface: append only.
class KX_EXPORT AudioFactory {
 public:
  virtual void HostOperation1() {}
  virtual void HostOperation2() {}

  // Stores a mixer that stays valid until it is released, and returns true. On false there is no
  // mixer: `*out` is neither used nor released. True with null is a failure.
  virtual bool CreateAudioMixerRecorder(AudioMixerRecorder** out) = 0;

  // Releases a mixer of CreateAudioMixerRecorder().
  virtual void ReleaseAudioMixerRecorder(AudioMixerRecorder* recorder) = 0;

 protected:
  ~AudioFactory() = default;
};

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_AUDIO_MIXER_RECORDER_H_
