// Opens the sources of a conference at once, since a live one may be slow, and leaves one behind
// that does not come back from the system: a name server or a network disk that does not answer.
// Threads: Cancel() any; the rest one control thread. Each source is opened on a thread of its own.
#ifndef HOST_CONFERENCE_SOURCE_OPENING_H_
#define HOST_CONFERENCE_SOURCE_OPENING_H_

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/conference/media_source.h"

namespace kxrtc_host {

class SourceOpening {
 public:
  // Opens one source; see MediaSource::Open().
  using Open = std::function<MediaProblem(std::string* error)>;

  SourceOpening() = default;
  ~SourceOpening();  // Waits for every source, without a limit.
  SourceOpening(const SourceOpening&) = delete;
  SourceOpening& operator=(const SourceOpening&) = delete;

  // Begins to open the source that messages name `source`.
  void Begin(const std::string& source, Open open);

  // Waits until all have come back, at most `timeout_us` and a moment more. Returns the problem of
  // the first source with one, in the order of Begin(); one that has not come back has no data.
  [[nodiscard]] MediaProblem Wait(int64_t timeout_us, std::string* error);

  // Ends Wait() in a moment. The caller interrupts the sources.
  void Cancel();

 private:
  struct Attempt {
    std::string source;
    std::thread thread;
    bool ended = false;  // From here on under `lock_`.
    MediaProblem problem = MediaProblem::kNone;
    std::string error;
  };

  bool AllEnded() const;

  std::mutex lock_;
  std::condition_variable changed_;
  bool cancelled_ = false;
  std::vector<std::unique_ptr<Attempt>> attempts_;  // Of the control thread.
};

}  // namespace kxrtc_host

#endif  // HOST_CONFERENCE_SOURCE_OPENING_H_
