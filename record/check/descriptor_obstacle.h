// Whether the library's replay accepts a descriptor.
// Threads: any.
#ifndef RECORD_CHECK_DESCRIPTOR_OBSTACLE_H_
#define RECORD_CHECK_DESCRIPTOR_OBSTACLE_H_

#include <cstdint>
#include <string>

#include "files/read_only_file.h"

namespace kxrtc_host {

// Why a record with so many sessions cannot be replayed with this descriptor, in one line with the
// file; empty when it can. Memory stays bounded: of a descriptor beyond MaxDescriptorSize() only
// some padding is accepted.
std::string DescriptorObstacle(const ReadOnlyFile& file, uint64_t sessions);

}  // namespace kxrtc_host

#endif  // RECORD_CHECK_DESCRIPTOR_OBSTACLE_H_
