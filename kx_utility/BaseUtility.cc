#include "kx_utility/BaseUtility.h"

#include <cstdio>

#include "kx_utility/logging.h"

namespace kx_utility {

bool check_pointers(unsigned count, ...) {
  va_list pointers;
  va_start(pointers, count);
  bool valid = count != 0;
  for (unsigned i = 0; valid && i < count; ++i) valid = va_arg(pointers, void*) != nullptr;
  va_end(pointers);
  return valid;
}

bool GenerateDebugLogString(char* buffer, uint32_t buffer_size, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const bool complete = GenerateDebugLogStringV(buffer, buffer_size, format, arguments);
  va_end(arguments);
  return complete;
}

bool GenerateDebugLogStringV(char* buffer, uint32_t buffer_size, const char* format,
                             va_list arguments) {
  const uint32_t writable_size = buffer_size == 0 ? 0 : buffer_size - 1;
  const int length = std::vsnprintf(buffer, writable_size, format, arguments);
  if (length >= 0 && static_cast<uint32_t>(length) < buffer_size) return true;
  LogMessage(__FILE__, "GenerateDebugLogString", __LINE__, LS_WARNING)
      << "buffer is not enough, buffer_size:" << buffer_size;
  return false;
}

}  // namespace kx_utility
