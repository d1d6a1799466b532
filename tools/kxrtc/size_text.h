// Sizes of pictures on the command line, such as 160x90.
// Threads: any.
#ifndef TOOLS_KXRTC_SIZE_TEXT_H_
#define TOOLS_KXRTC_SIZE_TEXT_H_

#include <cstdint>
#include <string>

namespace kxrtc_tool {

// False, without a change: `text` is not two whole numbers below 100,000.
[[nodiscard]] bool ParseSize(const std::string& text, uint32_t* width, uint32_t* height);

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_SIZE_TEXT_H_
