// Hands the descriptor of a record that is only read to the library's reader, which opens a file of
// its own for writing too.
// Threads: any.
#ifndef RECORD_INDEX_DESCRIPTOR_LOADING_H_
#define RECORD_INDEX_DESCRIPTOR_LOADING_H_

#include "files/read_only_file.h"
#include "kxrtc/recording/speaker_record_descriptor.h"

namespace kxrtc_host {

// False: the file cannot be read, or the library does not take its text.
[[nodiscard]] bool LoadDescriptor(const ReadOnlyFile& descriptor,
                                  kxrtc::SpeakerRecordDescReader* reader);

}  // namespace kxrtc_host

#endif  // RECORD_INDEX_DESCRIPTOR_LOADING_H_
