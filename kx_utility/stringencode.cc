#include "kx_utility/stringencode.h"

#include "kx_utility/failure_log.h"

namespace kx_utility {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

// A size that no buffer needs to have; beyond it the arithmetic on sizes would overflow.
constexpr size_t kMaxSourceLength = static_cast<size_t>(-1) / 4;

size_t EncodedBufferSize(size_t source_length, char delimiter) {
  return delimiter != 0 ? 3 * source_length : 2 * source_length + 1;
}

size_t DecodedSize(size_t source_length, char delimiter) {
  return delimiter != 0 ? (source_length + 1) / 3 : source_length / 2;
}

bool DecodeByte(const char* digits, char* byte) {
  unsigned char high = 0;
  unsigned char low = 0;
  if (!hex_decode(digits[0], &high) || !hex_decode(digits[1], &low)) return false;
  *byte = static_cast<char>((high << 4) | low);
  return true;
}

}  // namespace

char hex_encode(unsigned char value) {
  if (value < 16) return kDigits[value];
  LogFormatted(LS_WARNING, Here(), "val = %d is not valid", value);
  return '!';
}

bool hex_decode(char c, unsigned char* value) {
  if (c >= '0' && c <= '9') {
    *value = static_cast<unsigned char>(c - '0');
  } else if (c >= 'A' && c <= 'Z') {
    *value = static_cast<unsigned char>(c - 'A' + 10);
  } else if (c >= 'a' && c <= 'z') {
    *value = static_cast<unsigned char>(c - 'a' + 10);
  } else {
    return false;
  }
  return true;
}

size_t hex_encode_with_delimiter(char* buffer, size_t buffer_size, const char* source,
                                 size_t source_length, char delimiter) {
  if (buffer == nullptr) {
    LogFormatted(LS_WARNING, Here(), "buffer is nullptr");
    return 0;
  }
  if (source == nullptr && source_length != 0) return 0;
  if (buffer_size == 0 || source_length > kMaxSourceLength ||
      buffer_size < EncodedBufferSize(source_length, delimiter)) {
    return 0;
  }
  char* out = buffer;
  for (size_t i = 0; i < source_length; ++i) {
    if (i != 0 && delimiter != 0) *out++ = delimiter;
    const auto byte = static_cast<unsigned char>(source[i]);
    *out++ = kDigits[byte >> 4];
    *out++ = kDigits[byte & 0xF];
  }
  *out = '\0';
  return static_cast<size_t>(out - buffer);
}

size_t hex_encode(char* buffer, size_t buffer_size, const char* source, size_t source_length) {
  return hex_encode_with_delimiter(buffer, buffer_size, source, source_length, 0);
}

std::string hex_encode(const std::string& source) {
  return hex_encode_with_delimiter(source.data(), source.size(), 0);
}

std::string hex_encode(const char* source, size_t source_length) {
  return hex_encode_with_delimiter(source, source_length, 0);
}

std::string hex_encode_with_delimiter(const char* source, size_t source_length, char delimiter) {
  if (source_length == 0) return {};
  std::string text;
  if (source != nullptr && source_length <= kMaxSourceLength) {
    text.resize(EncodedBufferSize(source_length, delimiter));
    text.resize(hex_encode_with_delimiter(&text[0], text.size(), source, source_length, delimiter));
  }
  if (text.empty()) LogFormatted(LS_WARNING, Here(), "failed in hex_encode_with_delimiter");
  return text;
}

size_t hex_decode_with_delimiter(char* buffer, size_t buffer_size, const char* source,
                                 size_t source_length, char delimiter) {
  if (buffer == nullptr) {
    LogFormatted(LS_WARNING, Here(), "cbuffer is nullptr");
    return 0;
  }
  if (buffer_size == 0 || source == nullptr || source_length == 0 ||
      source_length > kMaxSourceLength || buffer_size < DecodedSize(source_length, delimiter)) {
    return 0;
  }
  const char* const end = source + source_length;
  size_t decoded = 0;
  while (end - source >= 2) {
    if (!DecodeByte(source, &buffer[decoded])) return 0;
    ++decoded;
    source += 2;
    if (delimiter != 0 && end - source >= 2 && *source++ != delimiter) return 0;
  }
  return source == end ? decoded : 0;
}

size_t hex_decode_with_delimiter(char* buffer, size_t buffer_size, const std::string& source,
                                 char delimiter) {
  return hex_decode_with_delimiter(buffer, buffer_size, source.data(), source.size(), delimiter);
}

size_t hex_decode(char* buffer, size_t buffer_size, const char* source, size_t source_length) {
  return hex_decode_with_delimiter(buffer, buffer_size, source, source_length, 0);
}

size_t hex_decode(char* buffer, size_t buffer_size, const std::string& source) {
  return hex_decode_with_delimiter(buffer, buffer_size, source, 0);
}

}  // namespace kx_utility
