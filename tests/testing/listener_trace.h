// A listener that keeps what the recorder tells it.
#ifndef TESTS_TESTING_LISTENER_TRACE_H_
#define TESTS_TESTING_LISTENER_TRACE_H_

#include <mutex>
#include <string>
#include <vector>

#include "kxrtc/recording/speaker_recorder_listener.h"

namespace kx_testing {

// Threads: any; the recorder calls it on its task thread.
class ListenerTrace final : public kxrtc::SpeakerRecorderListener {
 public:
  // The records that were told, as DumpPlaces() shows those of an index.
  std::vector<std::string> records() const { return Copy(&ListenerTrace::records_); }

  // The channels as "ssrc user type: reason", the reason as the name of its enumerator.
  std::vector<std::string> selections() const { return Copy(&ListenerTrace::selections_); }

  // The failed writes as "index 12, stops" or "video 5, goes on".
  std::vector<std::string> failures() const { return Copy(&ListenerTrace::failures_); }

  void OnRecordingStarted(int64_t time) override { Add(&ListenerTrace::records_, "start", time); }
  void OnRecordingStopped(int64_t time) override { Add(&ListenerTrace::records_, "stop", time); }
  void OnChannelSelected(const kxrtc::SelectedChannel& channel) override;
  void OnAttributesWritten(const kxrtc::WrittenAttributes& attributes) override;
  void OnFrameWritten(const kxrtc::WrittenFrame& frame) override;
  void OnWriteFailed(const kxrtc::FailedWrite& write) override;

 private:
  using Lines = std::vector<std::string>;

  void Add(Lines ListenerTrace::*lines, const std::string& line, int64_t time);
  Lines Copy(Lines ListenerTrace::*lines) const;

  mutable std::mutex lock_;
  Lines records_;
  Lines selections_;
  Lines failures_;
};

}  // namespace kx_testing

#endif  // TESTS_TESTING_LISTENER_TRACE_H_
