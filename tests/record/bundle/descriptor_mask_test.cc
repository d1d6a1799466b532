#include "record/bundle/descriptor_mask.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "tests/testing/masked_content.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using ::kx_testing::TempDir;

std::string MaskedText(const std::string& text) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("desc"), text);
  ReadOnlyFile file;
  EXPECT_EQ(file.Open(dir.File("desc")), ReadOnlyFile::State::kOpen);
  return kx_testing::MaskedContent(std::make_unique<DescriptorMask>(&file), text.size(), 7);
}

TEST(DescriptorMaskTest, KeepsTheWholeDescriptorOfARecord) {
  const TempDir dir;
  const std::string text = kx_testing::TwoSessions(dir).Descriptor();
  EXPECT_EQ(MaskedText(text), text);
}

struct MaskCase {
  const char* name;
  std::string text;
  std::string masked;
};

class DescriptorMaskCaseTest : public testing::TestWithParam<MaskCase> {};

TEST_P(DescriptorMaskCaseTest, HidesWordsAtTheirLength) {
  EXPECT_EQ(MaskedText(GetParam().text), GetParam().masked);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, DescriptorMaskCaseTest,
    testing::Values(
        MaskCase{"UnknownMember", R"({"owner":"Ada","contain_video":1})",
                 R"({"xxxxx":"xxx","contain_video":1})"},
        MaskCase{"NumberOfAnUnknownMember", R"({"phone":-40.5e3,"contain_video":12})",
                 R"({"xxxxx":-11.1e1,"contain_video":12})"},
        MaskCase{"NumberWithExponent", R"({"contain_video":4e2})", R"({"contain_video":4e2})"},
        MaskCase{"Literals", "[true,false,null,nil]", "[true,false,null,xxx]"},
        MaskCase{"Comment", "{/* Ada, 12 */}", "{/* xxx, 11 */}"},
        MaskCase{"Escapes", R"({"a\"b\\c\nd":"\u00e4\uzz"})", R"({"x\"x\\x\nx":"\uaaaa\uxx"})"},
        MaskCase{"LineOfText", "{\"a\nb", "{\"x\nx"},
        MaskCase{"LongerMember", R"({"contain_video_of":1})", R"({"xxxxxxxxxxxxxxxx":1})"},
        MaskCase{"CutMember", R"({"contain_vid)", R"({"xxxxxxxxxxx)"},
        MaskCase{"OtherBytes", "{\xC3\xA4 \x01;}", "{xx xx}"},
        MaskCase{"ByteOrderMark", "\xEF\xBB\xBF{}", "\xEF\xBB\xBF{}"},
        MaskCase{"BehindAZeroByte", std::string("{}\0Ada", 6), std::string("{}\0\0\0\0", 6)}),
    [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace kxrtc_host
