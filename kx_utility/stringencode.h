// Hexadecimal text of bytes, with or without a delimiter between the bytes.
// Threads: any.
#ifndef KX_UTILITY_STRINGENCODE_H_
#define KX_UTILITY_STRINGENCODE_H_

#include <cstddef>
#include <string>

#include "kx_utility/export.h"

namespace kx_utility {

// The lowercase digit of 0 to 15. For a larger value logs LS_WARNING "val = <value> is not valid".
// Intended: it then returns the character "!".
KX_EXPORT char hex_encode(unsigned char value);

// The value of a digit or a letter of either case. Intended: every letter of the alphabet counts
// on, "g" is 16 and "z" is 35. Any other character is false and leaves `*value` untouched.
KX_EXPORT bool hex_decode(char c, unsigned char* value);

// Writes two lowercase digits per byte of `source`, high half first, `delimiter` between bytes
// unless it is 0, and a terminating zero. Returns the number of characters without the zero.
// `buffer_size` is at least 1, and at least 3 * source_length with a delimiter, 2 * source_length
// + 1 without; else the result is 0 and nothing is written. A null `buffer` is logged (LS_WARNING
// "buffer is nullptr") and gives 0.
KX_EXPORT size_t hex_encode_with_delimiter(char* buffer, size_t buffer_size, const char* source,
                                           size_t source_length, char delimiter);

// The same without a delimiter.
KX_EXPORT size_t hex_encode(char* buffer, size_t buffer_size, const char* source,
                            size_t source_length);

// The encoding as a string. Nothing for something, e.g. a null `source` with a length, is logged
// as LS_WARNING "failed in hex_encode_with_delimiter".
KX_EXPORT std::string hex_encode(const std::string& source);
KX_EXPORT std::string hex_encode(const char* source, size_t source_length);
KX_EXPORT std::string hex_encode_with_delimiter(const char* source, size_t source_length,
                                                char delimiter);

// Decodes two characters per byte, high half first, by the rules of hex_decode(char, ...); a byte
// keeps the low eight bits of (high << 4 | low). With a delimiter other than 0 one stands between
// bytes. Returns the number of bytes; 0 for an empty `source`, an invalid digit, a wrong or
// trailing delimiter, a single character left over, or a `buffer_size` that is 0 or below
// (source_length + 1) / 3 with a delimiter, source_length / 2 without. The content of `buffer` is
// unspecified after a failure. A null `buffer` is logged (LS_WARNING "cbuffer is nullptr").
KX_EXPORT size_t hex_decode_with_delimiter(char* buffer, size_t buffer_size, const char* source,
                                           size_t source_length, char delimiter);
KX_EXPORT size_t hex_decode_with_delimiter(char* buffer, size_t buffer_size,
                                           const std::string& source, char delimiter);

// The same without a delimiter.
KX_EXPORT size_t hex_decode(char* buffer, size_t buffer_size, const char* source,
                            size_t source_length);
KX_EXPORT size_t hex_decode(char* buffer, size_t buffer_size, const std::string& source);

}  // namespace kx_utility

#endif  // KX_UTILITY_STRINGENCODE_H_
