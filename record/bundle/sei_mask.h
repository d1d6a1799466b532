// Takes the content out of supplemental enhancement information (ITU-T H.264, 7.3.2.3), which may
// be any text, and leaves its structure. Threads: any.
#ifndef RECORD_BUNDLE_SEI_MASK_H_
#define RECORD_BUNDLE_SEI_MASK_H_

#include <cstdint>
#include <vector>

namespace kxrtc_host {

// Masks a NAL payload. Types and lengths of the messages stay, and of the picture timing message
// what gives a picture its duration.
void MaskSei(std::vector<uint8_t>* payload);

}  // namespace kxrtc_host

#endif  // RECORD_BUNDLE_SEI_MASK_H_
