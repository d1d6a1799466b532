#include "record/bundle/audio_mask.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "record/check/adts.h"
#include "record/check/silent_aac.h"
#include "record/index/index_state.h"

namespace kxrtc_host {
namespace {

constexpr size_t kFramesAhead = 4096;  // An index has its frames in the order of the file.

}  // namespace

AudioMask::AudioMask(ReadOnlyFile* index, ReadOnlyFile* audio, const Sound& sound,
                     const IsWanted& is_wanted)
    : audio_(audio), sound_(sound), walker_(index, is_wanted), scanner_(audio, is_wanted) {
  if (scanner_.FindFormat()) header_ = scanner_.FindHeader(0);
}

void AudioMask::ReadIndex() {
  IndexRecord record;
  while (!index_ended_ && named_.size() < kFramesAhead) {
    const IndexWalker::Step step = walker_.Next(&record);
    index_ended_ = step != IndexWalker::Step::kRecord && step != IndexWalker::Step::kGarbage;
    const bool is_frame =
        step == IndexWalker::Step::kRecord && record.header.type == kxrtc::kAudioData;
    if (!is_frame || record.data.size == 0 || record.data.start_position < position_) continue;
    if (!LiesInside(record.data, audio_->size())) continue;
    named_.push({record.data.start_position, record.data.size});
  }
}

bool AudioMask::Next(MaskStretch* stretch) {
  for (;;) {
    ReadIndex();
    while (!named_.empty() && named_.top().position < position_) {
      named_.pop();
      ReadIndex();
    }
    if (header_ && header_->position < position_) header_ = scanner_.FindHeader(position_);
    if (named_.empty() && !header_) return false;
    const bool is_named =
        !named_.empty() && (!header_ || named_.top().position <= header_->position);
    const uint64_t position = is_named ? named_.top().position : header_->position;
    MaskFrame(position, is_named, stretch);
    position_ = position + 1;
    if (!stretch->bytes.empty()) return true;
  }
}

// True when the index names a frame of `size` bytes at `position`, where the next one is. A damaged
// index may name several there; the largest comes first.
bool AudioMask::Names(uint64_t position, uint64_t size) {
  while (!named_.empty() && named_.top().position == position && named_.top().size > size) {
    named_.pop();
    ReadIndex();
  }
  return !named_.empty() && named_.top().position == position && named_.top().size == size;
}

// What stays may be nothing.
void AudioMask::MaskFrame(uint64_t position, bool is_named, MaskStretch* stretch) {
  stretch->begin = position;
  stretch->zeros = 0;
  stretch->bytes.resize(kAdtsHeaderSize);
  AdtsHeader header;
  const size_t read = audio_->Read(position, stretch->bytes.data(), stretch->bytes.size());
  const bool is_adts = read == kAdtsHeaderSize && ReadAdtsHeader(stretch->bytes.data(), &header);
  if (!is_adts) stretch->bytes.clear();
  const bool hits_header = !is_adts && position < header_to_;  // It stands where the index is off.
  if (is_adts) header_to_ = position + kAdtsHeaderSize;
  const uint64_t size = is_adts ? header.frame_size : is_named ? named_.top().size : 0;
  const bool is_frame = is_named ? Names(position, size) : is_adts;
  const bool decodes = sound_.damaged == nullptr || !sound_.damaged->Contains(position);
  // What the index names counts more, so that is not stopped by anything else.
  uint64_t* const silent_to = is_named ? &named_to_ : &unnamed_to_;
  if (!is_frame || hits_header || position < named_to_ || position < *silent_to || !decodes ||
      is_adts != sound_.is_adts || size > kMaxAacFrameSize || size > audio_->size() - position) {
    return;
  }
  const size_t header_size = is_adts ? header.header_size : 0;
  stretch->bytes.resize(header_size, kMaskByte);
  const std::vector<uint8_t> silence = SilentAacFrame(sound_.channels, size - header_size);
  stretch->bytes.insert(stretch->bytes.end(), silence.begin(), silence.end());
  *silent_to = position + size;
}

}  // namespace kxrtc_host
