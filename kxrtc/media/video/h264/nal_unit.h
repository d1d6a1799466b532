// Finds, classifies, unescapes and escapes the NAL units of an H.264 byte stream (ITU-T H.264,
// Annex B and clause 7.4.1).
// A start code is 00 00 01; a zero byte directly before it makes it a four-byte start code. A start
// code at the very end of a buffer, without a NAL header byte after it, is ignored.
// Threads: all functions are stateless and may be called on any thread.
// Errors: none are reported; malformed input gives an empty or partial result.
#ifndef KXRTC_MEDIA_VIDEO_H264_NAL_UNIT_H_
#define KXRTC_MEDIA_VIDEO_H264_NAL_UNIT_H_

#include <cstdint>
#include <vector>

#include "kx_utility/export.h"

namespace kx_utility {
class RawBuffer;
}  // namespace kx_utility

namespace kxrtc {
namespace H264 {

// nal_unit_type (clause 7.4.1, table 7-1). Types 17, 18, 22 and 23 are reserved, 0 and those from
// 24 on unspecified.
enum NaluType : uint8_t {
  kNaluTypeSlice = 1,  // Of a picture that is not an IDR picture.
  kNaluTypePartitionA = 2,
  kNaluTypePartitionB = 3,
  kNaluTypePartitionC = 4,
  kNaluTypeIdr = 5,  // A slice of an IDR picture.
  kNaluTypeSei = 6,
  kNaluTypeSps = 7,
  kNaluTypePps = 8,
  kNaluTypeAccessUnitDelimiter = 9,
  kNaluTypeEndOfSequence = 10,
  kNaluTypeEndOfStream = 11,
  kNaluTypeFiller = 12,
  kNaluTypeSpsExtension = 13,
  kNaluTypePrefix = 14,
  kNaluTypeSubsetSps = 15,
  kNaluTypeDepthParameterSet = 16,
  kNaluTypeAuxiliarySlice = 19,
  kNaluTypeSliceExtension = 20,
  kNaluTypeDepthSliceExtension = 21,
};

// True if the NAL unit has coded picture data of the primary stream: slices and their partitions.
constexpr bool IsPictureData(uint8_t type) {
  return type >= kNaluTypeSlice && type <= kNaluTypeIdr;
}

// False for a type that no access unit may have: 0, 16 to 18 and 22 to 31.
constexpr bool IsValidInFrame(uint8_t type) {
  constexpr uint32_t kRejectedUpTo18 = 0x70001;
  return type <= 21 && (type > 18 || ((kRejectedUpTo18 >> type) & 1) == 0);
}

// Whether the NAL payload begins with a slice header (clause 7.3.3).
constexpr bool HasSliceHeader(uint8_t type) {
  return type == kNaluTypeSlice || type == kNaluTypePartitionA || type == kNaluTypeIdr;
}

// One located NAL unit; offsets and sizes in bytes from the start of the buffer.
struct NaluIndex {
  uint32_t start_offset = 0;          // First byte of the start code, all four bytes of a long one.
  uint32_t payload_start_offset = 0;  // The NAL header byte.
  uint32_t payload_size = 0;          // From there to the next start_offset or the buffer's end.
};

// Bytes of a start code without its leading zero.
constexpr uint32_t kStartCodeSize = 3;

// The position of the first start code at or after `from`, without its leading zero; `length` if
// there is none.
[[nodiscard]] KX_EXPORT uint32_t FindStartCode(const uint8_t* data, uint32_t length, uint32_t from);

// The NAL units of `length` bytes of Annex B stream, in buffer order. Bytes before the first start
// code belong to none of them. Empty for fewer than 4 bytes.
[[nodiscard]] KX_EXPORT std::vector<NaluIndex> FindNaluIndices(const uint8_t* data,
                                                               uint32_t length);

// nal_unit_type, 0 to 31, of a NAL header byte.
[[nodiscard]] KX_EXPORT uint8_t ParseNaluType(uint8_t data);

// nal_ref_idc, 0 to 3, of a NAL header byte; 0: no other picture refers to this one.
[[nodiscard]] constexpr uint8_t ParseNalRefIdc(uint8_t data) { return data >> 5 & 3; }

// The RBSP of a NAL payload: each 00 00 03 loses its last byte.
// Intended: the byte after the 03 is not checked.
[[nodiscard]] KX_EXPORT std::vector<uint8_t> ParseRbsp(const uint8_t* data, uint32_t length);

// Appends the RBSP `bytes` to `destination` as a NAL payload, with a 03 between two zero bytes and
// a byte of at most 3. `bytes` must not point into `destination`.
KX_EXPORT void WriteRbsp(const uint8_t* bytes, uint32_t length, kx_utility::RawBuffer* destination);

// True when the access unit has an IDR slice. Parameter sets alone do not make a key frame.
[[nodiscard]] KX_EXPORT bool IsKeyFrame(const uint8_t* data, uint32_t length);

// True when IsValidInFrame() holds for each NAL unit of the access unit, so also without any start
// code, and for up to 3 bytes whatever they are.
[[nodiscard]] KX_EXPORT bool IsValidFrame(const uint8_t* data, uint32_t length);

}  // namespace H264
}  // namespace kxrtc

#endif  // KXRTC_MEDIA_VIDEO_H264_NAL_UNIT_H_
