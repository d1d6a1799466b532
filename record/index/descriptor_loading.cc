#include "record/index/descriptor_loading.h"

#include <unistd.h>

#include <string>
#include <utility>

#include "kx_utility/file.h"
#include "kx_utility/text_file.h"

namespace kxrtc_host {

bool LoadDescriptor(const ReadOnlyFile& descriptor, kxrtc::SpeakerRecordDescReader* reader) {
  if (!descriptor.is_open()) return false;
  kx_utility::File file(::dup(descriptor.descriptor()));
  std::string text;
  return file.Seek(0) && kx_utility::ReadText(&file, descriptor.size(), &text) &&
         reader->InitializeFromText(std::move(text));
}

}  // namespace kxrtc_host
