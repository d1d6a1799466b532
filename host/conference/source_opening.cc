#include "host/conference/source_opening.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace kxrtc_host {
namespace {

// A source that can be interrupted comes back within this time.
constexpr std::chrono::milliseconds kMoment(500);

}  // namespace

SourceOpening::~SourceOpening() {
  for (const auto& attempt : attempts_) attempt->thread.join();
}

void SourceOpening::Begin(const std::string& source, Open open) {
  attempts_.push_back(std::make_unique<Attempt>());
  Attempt* const attempt = attempts_.back().get();
  attempt->source = source;
  attempt->thread = std::thread([this, attempt, open = std::move(open)] {
    std::string error;
    const MediaProblem problem = open(&error);
    const std::lock_guard<std::mutex> guard(lock_);
    attempt->problem = problem;
    attempt->error = std::move(error);
    attempt->ended = true;
    changed_.notify_all();
  });
}

bool SourceOpening::AllEnded() const {
  return std::all_of(attempts_.begin(), attempts_.end(),
                     [](const auto& attempt) { return attempt->ended; });
}

MediaProblem SourceOpening::Wait(int64_t timeout_us, std::string* error) {
  std::unique_lock<std::mutex> guard(lock_);
  changed_.wait_for(guard, std::chrono::microseconds(timeout_us),
                    [this] { return cancelled_ || AllEnded(); });
  changed_.wait_for(guard, kMoment, [this] { return AllEnded(); });
  for (const auto& attempt : attempts_) {
    if (!attempt->ended) {
      *error = attempt->source + ": cannot be opened: " + kNoDataText;
      return MediaProblem::kUnreadable;
    }
    if (attempt->problem == MediaProblem::kNone) continue;
    *error = attempt->error;
    return attempt->problem;
  }
  return MediaProblem::kNone;
}

void SourceOpening::Cancel() {
  const std::lock_guard<std::mutex> guard(lock_);
  cancelled_ = true;
  changed_.notify_all();
}

}  // namespace kxrtc_host
