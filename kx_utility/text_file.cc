#include "kx_utility/text_file.h"

#include <algorithm>
#include <cstdint>
#include <exception>

#include "kx_utility/file.h"

namespace kx_utility {
namespace {

constexpr size_t kPieceSize = 64 * 1024;

}  // namespace

bool ReadText(File* file, size_t size, std::string* text) {
  text->clear();
  std::string piece;
  try {
    while (text->size() < size) {
      piece.resize(std::min(kPieceSize, size - text->size()));
      const size_t count = file->Read(reinterpret_cast<uint8_t*>(&piece[0]), piece.size());
      text->append(piece, 0, count);
      if (count < piece.size()) return false;
      if (piece.find_first_not_of('\0') == std::string::npos) break;
    }
  } catch (const std::exception&) {  // bad_alloc, or length_error beyond what a string can hold.
    return false;
  }
  return true;
}

}  // namespace kx_utility
