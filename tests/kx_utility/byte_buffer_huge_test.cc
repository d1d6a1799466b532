// A text that is too long for the 32-bit lengths of the byte buffers.
#include <gmock/gmock.h>

#include <cstdint>
#include <string>

#include "kx_utility/byte_buffer.h"
#include "tests/testing/log_capture.h"

namespace kx_utility {
namespace {

using ::testing::ElementsAre;

TEST(ByteBufferHugeTest, RefusesAStringBeyond32Bits) {
  std::string text;
  // Takes address space only: nobody writes or reads the characters.
  text.resize_and_overwrite((size_t{1} << 32) + 1, [](char*, size_t size) { return size; });
  const kx_testing::ScopedLogCapture log;
  ByteBufferWriter writer("a", 1);
  writer.WriteString(text);
  EXPECT_EQ("a", std::string(writer.data(), writer.length()));
  EXPECT_EQ(1u, writer.capacity());
  EXPECT_THAT(log.lines(), ElementsAre("ERROR data is too big"));
}

}  // namespace
}  // namespace kx_utility
