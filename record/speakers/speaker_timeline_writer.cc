#include "record/speakers/speaker_timeline_writer.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <exception>

#include "record/index/record_text.h"
#include "record/speakers/timeline_entry.h"

namespace kxrtc_host {
namespace {

using Kind = TimelineEntry::Kind;

constexpr char kEndsHere[] = "; the names end here";

int64_t SystemNowUs() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

TimelineEntry Entry(Kind kind, int64_t time_us, uint32_t user_id = 0) {
  TimelineEntry entry;
  entry.kind = kind;
  entry.time_us = time_us;
  entry.user_id = user_id;
  return entry;
}

}  // namespace

bool SpeakerTimelineWriter::Create(const std::string& folder, const std::string& title,
                                   std::string* error) {
  const std::lock_guard<std::mutex> guard(lock_);
  path_ = folder + kSpeakerTimelineFileName;
  if (!title.empty() && !IsTimelineText(title, kMaxTitleBytes)) {
    *error =
        path_ + ": the title is not UTF-8, or longer than " + CountText(kMaxTitleBytes, "byte");
    return false;
  }
  (void)::unlink(path_.c_str());  // What cannot be removed is found next.
  descriptor_ = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0666);
  if (descriptor_ < 0) {
    *error = path_ + ": cannot be created: " + std::strerror(errno);
    return false;
  }
  TimelineHeader header;
  header.title = title;
  Append(TimelineLine(header));
  *error = error_;
  return error_.empty();
}

bool SpeakerTimelineWriter::Join(uint32_t user_id, const std::string& name) {
  if (user_id == 0 || !IsTimelineText(name, kMaxPersonNameBytes)) return false;
  Note([&] {
    present_[user_id] = name;
    if (started_) AppendJoined(RecorderTimeUs(), user_id);
  });
  return true;
}

void SpeakerTimelineWriter::Leave(uint32_t user_id) {
  Note([&] {
    if (present_.erase(user_id) == 0 || !started_) return;
    Append(TimelineLine(Entry(Kind::kLeft, RecorderTimeUs(), user_id)));
  });
}

void SpeakerTimelineWriter::SetSpeaking(const std::vector<uint32_t>& user_ids) {
  Note([&] {
    std::set<uint32_t> speaking(user_ids.begin(), user_ids.end());
    if (started_ && speaking != speaking_) {
      const int64_t time_us = RecorderTimeUs();
      for (const uint32_t user_id : speaking_) {
        if (speaking.count(user_id) == 0) AppendVoice(time_us, user_id, false);
      }
      for (const uint32_t user_id : speaking) {
        if (speaking_.count(user_id) == 0) AppendVoice(time_us, user_id, true);
      }
    }
    speaking_.swap(speaking);
  });
}

bool SpeakerTimelineWriter::Close() {
  bool is_whole = false;
  Note([&] {
    if (descriptor_ >= 0 && ::fsync(descriptor_) != 0) Fail("cannot be written to the disk");
    End();
    is_whole = error_.empty() && !lacked_memory_;
  });
  return is_whole;
}

std::string SpeakerTimelineWriter::error() const {
  const std::lock_guard<std::mutex> guard(lock_);
  return lacked_memory_ ? path_ + ": cannot be written: out of memory" + kEndsHere : error_;
}

void SpeakerTimelineWriter::OnRecordingStarted(int64_t timestamp_us) {
  Note([&] {
    NoteTime(timestamp_us);
    TimelineEntry entry = Entry(Kind::kStart, timestamp_us);
    entry.utc_us = timestamp_us - *offset_us_;
    Append(TimelineLine(entry));
    if (!started_) {
      for (const auto& [user_id, name] : present_) AppendJoined(timestamp_us, user_id);
      for (const uint32_t user_id : speaking_) AppendVoice(timestamp_us, user_id, true);
    }
    started_ = true;
  });
  if (next_ != nullptr) next_->OnRecordingStarted(timestamp_us);
}

void SpeakerTimelineWriter::OnRecordingStopped(int64_t timestamp_us) {
  Note([&] {
    NoteTime(timestamp_us);
    Append(TimelineLine(Entry(Kind::kStop, timestamp_us)));
  });
  if (next_ != nullptr) next_->OnRecordingStopped(timestamp_us);
}

void SpeakerTimelineWriter::OnChannelSelected(const kxrtc::SelectedChannel& channel) {
  Note([&] {
    NoteTime(channel.timestamp_us);
    TimelineEntry entry = Entry(Kind::kSelected, channel.timestamp_us, channel.user_id);
    entry.ssrc = channel.ssrc;
    entry.media_type = channel.media_type;
    Append(TimelineLine(entry));
  });
  if (next_ != nullptr) next_->OnChannelSelected(channel);
}

void SpeakerTimelineWriter::OnAttributesWritten(const kxrtc::WrittenAttributes& attributes) {
  if (next_ != nullptr) next_->OnAttributesWritten(attributes);
}

void SpeakerTimelineWriter::OnFrameWritten(const kxrtc::WrittenFrame& frame) {
  Note([&] { NoteTime(frame.timestamp_us); });
  if (next_ != nullptr) next_->OnFrameWritten(frame);
}

void SpeakerTimelineWriter::OnWriteFailed(const kxrtc::FailedWrite& write) {
  if (next_ != nullptr) next_->OnWriteFailed(write);
}

// Nothing that this class throws leaves it: the recorder goes on without it.
template <typename Body>
void SpeakerTimelineWriter::Note(const Body& body) {
  const std::lock_guard<std::mutex> guard(lock_);
  try {
    body();
  } catch (const std::exception&) {  // No memory, which JsonCpp tells in its own way.
    lacked_memory_ = true;
    End();
  }
}

void SpeakerTimelineWriter::End() {
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = -1;
}

void SpeakerTimelineWriter::NoteTime(int64_t timestamp_us) {
  const int64_t offset_us = timestamp_us - SystemNowUs();
  offset_us_ = std::max(offset_us_.value_or(offset_us), offset_us);
}

// Needs a started recording.
int64_t SpeakerTimelineWriter::RecorderTimeUs() const { return SystemNowUs() + *offset_us_; }

void SpeakerTimelineWriter::AppendJoined(int64_t time_us, uint32_t user_id) {
  TimelineEntry entry = Entry(Kind::kJoined, time_us, user_id);
  entry.name = present_.at(user_id);
  Append(TimelineLine(entry));
}

void SpeakerTimelineWriter::AppendVoice(int64_t time_us, uint32_t user_id, bool on) {
  if (user_id == 0) return;
  TimelineEntry entry = Entry(Kind::kVoice, time_us, user_id);
  entry.on = on;
  Append(TimelineLine(entry));
}

void SpeakerTimelineWriter::Append(const std::string& line) {
  if (descriptor_ < 0) return;
  const ssize_t written = ::write(descriptor_, line.data(), line.size());
  if (written == static_cast<ssize_t>(line.size())) return;
  if (written >= 0) errno = ENOSPC;  // What a short write to a file means.
  Fail("cannot be written");
}

void SpeakerTimelineWriter::Fail(const std::string& what) {
  error_ = path_ + ": " + what + ": " + std::strerror(errno) + kEndsHere;
  End();
}

}  // namespace kxrtc_host
