#include "record/bundle/index_mask.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "tests/testing/masked_content.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using ::kx_testing::Masked;
using ::kx_testing::RecordBuilder;
using ::kx_testing::TempDir;

std::string MaskedIndex(const std::string& index) {
  const TempDir dir;
  kx_testing::WriteFile(dir.File("index"), index);
  ReadOnlyFile file;
  EXPECT_EQ(file.Open(dir.File("index")), ReadOnlyFile::State::kOpen);
  return kx_testing::MaskedContent(std::make_unique<IndexMask>(&file, nullptr), index.size(), 64);
}

std::string HealthyIndex() {
  const TempDir dir;
  return kx_testing::TwoSessions(dir).index();
}

TEST(IndexMaskTest, KeepsEveryRecord) { EXPECT_EQ(MaskedIndex(HealthyIndex()), HealthyIndex()); }

TEST(IndexMaskTest, KeepsOnlyTheTypeOfWhatIsNoRecord) {
  const std::string secret = "the password is swordfish";
  EXPECT_EQ(MaskedIndex(HealthyIndex() + secret + HealthyIndex()),
            HealthyIndex() + "the " + Masked(secret.size() - 4) + HealthyIndex());
  EXPECT_EQ(MaskedIndex(HealthyIndex() + secret),
            HealthyIndex() + "the " + Masked(secret.size() - 4));
  EXPECT_EQ(MaskedIndex(HealthyIndex() + "pas"), HealthyIndex() + "pas");
}

TEST(IndexMaskTest, KeepsOnlyTheTypeOfARecordThatIsCut) {
  const std::string index = HealthyIndex();
  const std::string cut = std::string("\xEE\xDD\xCC\x06") + std::string(12, 's');
  EXPECT_EQ(MaskedIndex(index + cut), index + cut.substr(0, 4) + Masked(12));
}

}  // namespace
}  // namespace kxrtc_host
