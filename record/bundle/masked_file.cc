#include "record/bundle/masked_file.h"

#include <algorithm>
#include <utility>

namespace kxrtc_host {
namespace {

// Copies what `stretch` has between `position` and `end` to `out`, which begins at `position`.
void Copy(const MaskStretch& stretch, uint64_t position, uint64_t end, uint8_t* out) {
  const uint64_t from = std::max(stretch.begin, position);
  const uint64_t to = std::min(stretch.end(), end);
  if (from >= to) return;
  uint8_t* const target = out + (from - position);
  if (stretch.bytes.empty()) {
    std::fill_n(target, to - from, uint8_t{0});
  } else {
    std::copy_n(stretch.bytes.data() + (from - stretch.begin), to - from, target);
  }
}

}  // namespace

void MaskedFile::Add(std::unique_ptr<FileMask> mask) {
  Layer layer;
  layer.mask = std::move(mask);
  layer.has_next = layer.mask->Next(&layer.next);
  layers_.push_back(std::move(layer));
}

void MaskedFile::Apply(Layer* layer, uint64_t position, uint64_t end, uint8_t* out) {
  std::vector<MaskStretch>& open = layer->open;
  for (const MaskStretch& stretch : open) Copy(stretch, position, end, out);
  while (layer->has_next && layer->next.begin < end) {
    Copy(layer->next, position, end, out);
    if (layer->next.end() > end) open.push_back(layer->next);
    layer->has_next = layer->mask->Next(&layer->next);
  }
  open.erase(std::remove_if(open.begin(), open.end(),
                            [end](const MaskStretch& stretch) { return stretch.end() <= end; }),
             open.end());
}

void MaskedFile::Read(uint64_t position, uint8_t* out, size_t size) {
  std::fill_n(out, size, kMaskByte);
  for (Layer& layer : layers_) Apply(&layer, position, position + size, out);
}

}  // namespace kxrtc_host
