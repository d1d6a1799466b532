// Reads text of any length into memory.
// Threads: any; the File belongs to the caller's.
#ifndef KX_UTILITY_TEXT_FILE_H_
#define KX_UTILITY_TEXT_FILE_H_

#include <cstddef>
#include <string>

#include "kx_utility/export.h"

namespace kx_utility {

class File;

// Reads `size` bytes from the position of `file` on, piece by piece: memory grows with what was
// read and not with `size`. Ends early, with success, after a piece of only zero bytes: that is
// the hole of a sparse file, and no text follows. `*text` then ends with those zeros.
// False when fewer bytes arrive, the file is not open or memory runs out; `*text` then has what was
// read before. Nothing is logged or thrown.
[[nodiscard]] KX_EXPORT bool ReadText(File* file, size_t size, std::string* text);

}  // namespace kx_utility

#endif  // KX_UTILITY_TEXT_FILE_H_
