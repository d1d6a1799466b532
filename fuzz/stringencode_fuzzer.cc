// Encoding tells its length beforehand, writes no further, and decodes to what went in. Decoding
// gives all bytes or none, and encodes back to the text it came from.
#include <cctype>
#include <string>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "kx_utility/stringencode.h"

namespace {

using kx_fuzz::Check;
using kx_fuzz::FuzzInput;

void FuzzEncoding(const std::string& source, char delimiter, size_t buffer_size) {
  const size_t needed = delimiter != '\0' ? 3 * source.size() : 2 * source.size() + 1;
  const size_t length = source.empty()      ? 0
                        : delimiter != '\0' ? 3 * source.size() - 1
                                            : 2 * source.size();
  std::vector<char> buffer(buffer_size, '~');
  const size_t written = kx_utility::hex_encode_with_delimiter(
      buffer.data(), buffer_size, source.data(), source.size(), delimiter);
  const bool fits = buffer_size != 0 && buffer_size >= needed;
  Check(written == (fits ? length : 0), "encoding takes its length or nothing");
  for (size_t i = fits ? length + 1 : 0; i < buffer_size; ++i) {
    Check(buffer[i] == '~', "encoding writes no further");
  }
  const std::string text =
      kx_utility::hex_encode_with_delimiter(source.data(), source.size(), delimiter);
  Check(text.size() == length, "the string holds the whole encoding");
  if (!fits) return;
  Check(buffer[length] == '\0' && text == buffer.data(), "both encodings are the same");
  if (source.empty() || std::isxdigit(static_cast<unsigned char>(delimiter)) != 0) return;
  std::string decoded(source.size(), '~');
  const size_t count = kx_utility::hex_decode_with_delimiter(decoded.data(), decoded.size(),
                                                             text.data(), text.size(), delimiter);
  Check(count == source.size() && decoded == source, "decoding undoes encoding");
}

void FuzzDecoding(const std::string& text, char delimiter, size_t buffer_size) {
  const size_t bytes = delimiter != '\0' ? (text.size() + 1) / 3 : text.size() / 2;
  std::vector<char> buffer(buffer_size);
  const size_t count = kx_utility::hex_decode_with_delimiter(buffer.data(), buffer_size,
                                                             text.data(), text.size(), delimiter);
  Check(count == 0 || (count == bytes && count <= buffer_size), "all bytes are decoded or none");
  bool digits_alone = true;  // The decoder takes every letter for a digit.
  std::string lower;
  for (size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const bool delimits = delimiter != '\0' && i % 3 == 2;  // It may be a digit itself.
    digits_alone = digits_alone && (delimits || std::isxdigit(byte) != 0);
    lower += delimits ? text[i] : static_cast<char>(std::tolower(byte));
  }
  if (count == 0 || !digits_alone) return;
  Check(kx_utility::hex_encode_with_delimiter(buffer.data(), count, delimiter) == lower,
        "encoding undoes decoding");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, std::min<size_t>(size, 1024));
  const uint8_t mode = input.Byte();
  const char delimiter = (mode & 1) != 0 ? static_cast<char>(input.Byte()) : '\0';
  const size_t buffer_size = input.Number(2) % 4096;
  const std::string bytes = input.Bytes(input.size());
  if ((mode & 2) != 0) {
    FuzzEncoding(bytes, delimiter, buffer_size);
  } else {
    FuzzDecoding(bytes, delimiter, buffer_size);
  }
  return 0;
}
