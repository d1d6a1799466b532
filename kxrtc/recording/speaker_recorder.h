// Records the active speaker of a running conference into a speaker record
// (docs/speaker_record_format.md; docs/embedding_recorder.md shows a host around it).
#ifndef KXRTC_RECORDING_SPEAKER_RECORDER_H_
#define KXRTC_RECORDING_SPEAKER_RECORDER_H_

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "kx_utility/export.h"
#include "kx_utility/failure_log.h"
#include "kx_utility/stop_watch.h"
#include "kxrtc/recording/audio_mixer_recorder.h"
#include "kxrtc/recording/peer_connection_conductor.h"
#include "kxrtc/recording/recorded_frame.h"
#include "kxrtc/recording/recorder_task_queue.h"
#include "kxrtc/recording/speaker_channel_selector.h"
#include "kxrtc/recording/speaker_record_writer.h"
#include "kxrtc/recording/speaker_recorder_listener.h"
#include "kxrtc/recording/speaker_recorder_observer.h"
#include "kxrtc/recording/video_frame_relay.h"

namespace kxrtc {

// Threads: the control thread constructs, initializes, finalizes and destroys. Every other entry
// may come from any thread at any time between construction and destruction, also while the control
// thread is in Initialize() or Finalize(). It reads the clock, copies its arguments and queues a
// task; one task thread does the work in the order of the calls. A frame costs its thread one copy
// of the payload and no file access, and no lock unless the queue is full. With 4096 tasks queued,
// an entry waits for room. While the task thread is inside the host's mixer no entry waits, since
// the mixer may be waiting for that very call: what does not fit is kept beside the queue, in
// memory that grows with whatever arrives until the mixer returns. Nothing that was accepted is
// lost.
// A true result says that the call was accepted, not that it succeeded: failures of a task are
// logged. An entry that finds no memory does nothing, logs that and returns false; a task that
// finds none is given up and logged. No operation throws but the constructor, for want of memory.
// Nothing is logged from inside an entry, so a log sink may call the recorder back there. On the
// task thread a log sink must not wait for a thread that is inside an entry: while the queue is
// full, that thread waits for the task thread.
// The host's own functions must not throw: an exception that leaves one ends the process.
class KX_EXPORT SpeakerRecorder : public VideoFrameRelayCallback, public AudioMixerRecorderSink {
 public:
  SpeakerRecorder();
  ~SpeakerRecorder() override;  // Calls Finalize().
  SpeakerRecorder(const SpeakerRecorder&) = delete;
  SpeakerRecorder& operator=(const SpeakerRecorder&) = delete;

  // Gets the reports about what the recorder writes, from the next Initialize() on; null: none, at
  // no cost. Control thread. Borrowed until Finalize() returns after another one was set, or until
  // the recorder is destroyed.
  void SetListener(SpeakerRecorderListener* listener);

  // Creates the files of the record at `path`, a folder with its trailing separator: the names of
  // the files are appended as they are. Finalizes a former record first. `factory` supplies the
  // mixer and stays valid until Finalize() returns.
  // False when a step failed, which is logged. If there is no thread or no memory,
  // everything is undone as by Finalize().
  // Intended: an empty path is a success that leaves the recorder uninitialized, so that a host
  // without a folder runs with recording disabled; and the observer is accepted and not kept.
  [[nodiscard]] bool Initialize(const std::string& path, AudioFactory* factory,
                                SpeakerRecorderObserver* observer);

  // Refuses further calls, waits for those in progress and for every queued task, stops and
  // releases the mixer and closes the files. A recording that was not stopped ends without its stop
  // record. Always true. Not to be called from a task, that is from inside a call into the host.
  bool Finalize();

  // The entries below return false, and do nothing, while the recorder is not initialized.

  // Start and end a session of the record.
  bool StartRecording();
  bool StopRecording();

  // Leaves the local participant's voice out of the mix, also of a recording that starts later.
  bool MuteLocalMicrophone(bool mute);

  // Replaces what is known of the local or the remote side's video channels: `count` channels, each
  // with the user it belongs to and what it carries. The arrays are copied.
  bool UpdateVideoSsrcMapping(bool local, const uint32_t* ssrcs, const uint32_t* user_ids,
                              const PeerConnectionConductor::media_type* types, uint32_t count);

  // Replaces what is known of the microphones that are on: `count` users, each with a non-zero byte
  // while speaking. The arrays are copied.
  bool UpdateVoiceActivity(const uint32_t* user_ids, const uint8_t* speaking, uint32_t count);

  // Frames are accepted and dropped while nothing is being recorded. Video frames of ssrc 0, which
  // means nobody's, are accepted and never written: a record with them could not be replayed.
  bool OnEncodedFrame(const EncodedImage* image, uint32_t ssrc) override;
  bool OnEncodedData(EncodedAudioFrame* frame) override;

  // Calls that were accepted and wait for the task thread: how close a host is to waiting for a
  // slow disk. More than 4096 only while the mixer is starting or stopping, and just after.
  uint32_t QueuedTasks() const;

 private:
  class Entry;
  enum class Answer;

  // Runs `body` as an entry, unless the recorder is not initialized.
  template <typename Body>
  Answer Enter(Body body);
  static bool IsAccepted(Answer answer, kx_utility::CallSite site);  // Logs the reason.
  void OnShortWrite() noexcept;

  // Tasks.
  bool ProcessStart(int64_t timestamp_us);
  bool ProcessStop(int64_t timestamp_us);
  bool ProcessMute(bool mute);
  bool ProcessVideoMapping(bool local, const std::vector<VideoChannelInfo>& channels,
                           int64_t timestamp_us);
  bool ProcessVoiceActivity(const std::vector<VoiceActivity>& activities, int64_t timestamp_us);
  bool ProcessVideoTask(const RecvEncodedVideoFrame& frame);
  bool ProcessAudioTask(const RecvAudioFrame& frame);

  bool ProcessVideoFrame(const RecvEncodedVideoFrame& frame);
  bool DeterminNextChannel(uint32_t key_frame_ssrc, int64_t timestamp_us);  // sic
  bool Carry(const ChannelDecision& decision, int64_t timestamp_us, kx_utility::CallSite site);

  // The calls into the host. What the host throws ends the process here.
  bool CreateMixer() noexcept;
  void ReleaseMixer() noexcept;  // If there is one.
  bool StartMixer() noexcept;
  bool StopMixer() noexcept;
  bool TakeAudioFormat() noexcept;

  int AudioSource() const;
  const VideoChannelInfo* RecordedChannel() const;  // Null while nothing is recorded.

  // Written by the control thread and, the recording flag, by the task thread.
  std::atomic<bool> initialized_{false};
  std::atomic<bool> recording_{false};
  // Entries in progress. Finalize() waits for 0, then nothing but the flags is shared any more.
  std::atomic<uint32_t> entries_{0};

  AudioFactory* audio_factory_ = nullptr;
  SpeakerRecorderObserver* observer_ = nullptr;
  SpeakerRecorderListener* listener_ = nullptr;  // Of the next Initialize().
  AudioMixerRecorder* mixer_recorder_ = nullptr;
  kx_utility::StopWatch stop_watch_;  // The recorder time.

  // Of the task thread.
  bool local_mic_muted_ = false;
  SpeakerChannelSelector selector_;
  SpeakerRecordWriter writer_;

  RecorderTaskQueue tasks_;
};

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_SPEAKER_RECORDER_H_
