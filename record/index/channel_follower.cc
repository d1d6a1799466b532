#include "record/index/channel_follower.h"

#include "record/index/record_files.h"

namespace kxrtc_host {

ChannelFollower::ChannelFollower(const std::string& folder) {
  is_at_end_ =
      index_.Open(kxrtc::SpeakerRecordFilePath(
          RecordFolderPath(folder), kxrtc::kIndexFileExtension)) != ReadOnlyFile::State::kOpen;
  OnAudio();
}

void ChannelFollower::OnAudio() {
  IndexRecord record;
  while (!is_at_end_) {
    is_at_end_ = walker_.Next(&record) != IndexWalker::Step::kRecord;
    if (is_at_end_ || record.header.type == kxrtc::kAudioData) return;
    if (record.header.type != kxrtc::kNewChannel) continue;
    media_type_ = record.channel.media_type;
    ++channel_;
  }
}

}  // namespace kxrtc_host
