#include "tools/kxrtc/size_text.h"

#include <algorithm>

namespace kxrtc_tool {
namespace {

bool ParseSide(const std::string& text, uint32_t* side) {
  constexpr size_t kMostDigits = 5;
  if (text.empty() || text.size() > kMostDigits) return false;
  if (!std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; })) {
    return false;
  }
  *side = static_cast<uint32_t>(std::stoul(text));
  return true;
}

}  // namespace

bool ParseSize(const std::string& text, uint32_t* width, uint32_t* height) {
  const size_t x = text.find('x');
  uint32_t given_width = 0;
  uint32_t given_height = 0;
  if (x == std::string::npos || !ParseSide(text.substr(0, x), &given_width) ||
      !ParseSide(text.substr(x + 1), &given_height)) {
    return false;
  }
  *width = given_width;
  *height = given_height;
  return true;
}

}  // namespace kxrtc_tool
