// Argument checks and message formatting that every component uses.
// Threads: any.
#ifndef KX_UTILITY_BASEUTILITY_H_
#define KX_UTILITY_BASEUTILITY_H_

#include <cstdarg>
#include <cstdint>

#include "kx_utility/export.h"

namespace kx_utility {

// True when `count` is not 0 and none of the `count` pointer arguments is null.
KX_EXPORT bool check_pointers(unsigned count, ...);

// Formats like vsnprintf into `buffer`, which gets at most buffer_size - 1 bytes, the terminating
// zero included. True when the whole text has fewer than `buffer_size` characters.
// Intended: a text of exactly buffer_size - 1 characters is a success although its last character
// is cut. Otherwise logs LS_WARNING "buffer is not enough, buffer_size:<n>" and returns false.
KX_EXPORT bool GenerateDebugLogString(char* buffer, uint32_t buffer_size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// The same with the arguments as a list.
KX_EXPORT bool GenerateDebugLogStringV(char* buffer, uint32_t buffer_size, const char* format,
                                       va_list arguments) __attribute__((format(printf, 3, 0)));

}  // namespace kx_utility

#endif  // KX_UTILITY_BASEUTILITY_H_
