// The media types of a video channel, set by the host.
#ifndef KXRTC_RECORDING_PEER_CONNECTION_CONDUCTOR_H_
#define KXRTC_RECORDING_PEER_CONNECTION_CONDUCTOR_H_

#include <cstdint>

namespace kxrtc {

struct PeerConnectionConductor {
  // Other values belong to the host; channels of such a type are not recorded.
  enum media_type : uint32_t {
    kNoVideo = 0,
    kCamera = 2,
    kDesktop = 3,  // A desktop share.
  };
};

}  // namespace kxrtc

#endif  // KXRTC_RECORDING_PEER_CONNECTION_CONDUCTOR_H_
