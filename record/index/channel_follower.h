// Tells which channel of a record is replayed while its audio frames are counted.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_INDEX_CHANNEL_FOLLOWER_H_
#define RECORD_INDEX_CHANNEL_FOLLOWER_H_

#include <cstdint>
#include <string>

#include "files/read_only_file.h"
#include "record/index/index_walker.h"

namespace kxrtc_host {

// Reads the index once, in step with the replay and with bounded memory.
class ChannelFollower {
 public:
  // Stands before the first audio frame of the record in `folder`. Of a record that cannot be read
  // it knows no channel.
  explicit ChannelFollower(const std::string& folder);

  // The replay pushed the next audio frame.
  void OnAudio();

  // The channel that the replay uses before the frame after that: the media type of its record,
  // and its number, counted from 1; 0 without one.
  uint32_t media_type() const { return media_type_; }
  uint64_t channel() const { return channel_; }

 private:
  ReadOnlyFile index_;
  IndexWalker walker_{&index_};
  bool is_at_end_ = false;
  uint32_t media_type_ = 0;
  uint64_t channel_ = 0;
};

}  // namespace kxrtc_host

#endif  // RECORD_INDEX_CHANNEL_FOLLOWER_H_
