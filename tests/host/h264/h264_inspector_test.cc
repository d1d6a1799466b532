#include "host/h264/h264_inspector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/testing/bit_string.h"
#include "tests/testing/h264_builder.h"
#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

using ::kx_testing::BitString;
using ::kx_testing::SpsFields;
using ::kx_testing::TempDir;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string Text(const std::vector<uint8_t>& bytes) {
  return std::string(bytes.begin(), bytes.end());
}
std::string Unit(uint8_t header, const BitString& payload) {
  return std::string("\0\0\0\1", 4) + static_cast<char>(header) +
         Text(BitString(payload).Trailing().Bytes());
}

std::string Sps() { return Unit(0x67, SpsFields().Write()); }
std::string Pps() {
  return Unit(0x68,
              BitString().Ue(0).Ue(0).U(2, 0).Ue(0).Ue(0).Ue(0).U(3, 0).Se(0).Se(0).Se(0).U(3, 0));
}
// A slice of PPS 0, as Sps() has it: frame_num of 4 bits, POC of 6.
std::string Slice(bool idr, uint32_t first_mb, uint32_t frame_num, uint32_t poc) {
  BitString bits;
  bits.Ue(first_mb).Ue(7).Ue(0).U(4, frame_num);
  if (idr) bits.Ue(0);
  return Unit(idr ? 0x65 : 0x41, bits.U(6, poc).U(30, 0x2AAAAAAA));
}

// Tells what it was told in words.
class Listener : public H264InspectorObserver {
 public:
  void OnNalUnit(const NalUnitReport& report) override {
    std::string text = std::to_string(report.type);
    if (report.sps) text += " sps " + std::to_string(report.sps->width);
    if (report.pps) text += " pps of " + std::to_string(report.pps->sps_id);
    if (report.pps_id) text += " uses " + std::to_string(*report.pps_id);
    if (report.rewriting) text += " result " + std::to_string(*report.rewriting);
    calls.push_back(text);
    last_offset = report.offset;
    last_size = report.size;
    last_start_code_size = report.start_code_size;
  }
  void OnAccessUnit(const AccessUnitReport& report) override {
    calls.push_back("= " + std::to_string(report.number) + " of " +
                    std::to_string(report.nal_units) + (report.is_key_frame ? " key" : ""));
    access_unit_bytes += report.size;
  }
  bool IsWanted() override { return is_wanted; }

  std::vector<std::string> calls;
  uint64_t last_offset = 0;
  uint64_t last_size = 0;
  uint32_t last_start_code_size = 0;
  uint64_t access_unit_bytes = 0;
  bool is_wanted = true;
};

class H264InspectorTest : public ::testing::Test {
 protected:
  InspectionResult Inspect(const std::string& content, bool copy = false) {
    kx_testing::WriteFile(dir_.File("in"), content);
    InspectionOptions options;
    options.input = dir_.File("in");
    if (copy) options.copy = dir_.File("out");
    options.replace_existing = true;
    listener_ = Listener();
    listener_.is_wanted = is_wanted_;
    H264Inspector inspector(&listener_);
    const InspectionResult result = inspector.Inspect(options);
    error_ = inspector.error_text();
    return result;
  }

  TempDir dir_;
  Listener listener_;
  bool is_wanted_ = true;
  std::string error_;
};

TEST_F(H264InspectorTest, TellsUnitsAndAccessUnitsInOrder) {
  const std::string stream = Sps() + Pps() + Slice(true, 0, 0, 0) + Slice(true, 40, 0, 0) +
                             Slice(false, 0, 1, 2) + Slice(false, 40, 1, 2) +
                             Slice(false, 0, 2, 4) + Sps() + Pps() + Slice(true, 0, 0, 0);
  ASSERT_EQ(Inspect(stream), InspectionResult::kOk);
  EXPECT_THAT(listener_.calls,
              ElementsAre("7 sps 1280", "8 pps of 0", "5 uses 0", "5 uses 0", "= 0 of 4 key",
                          "1 uses 0", "1 uses 0", "= 1 of 2", "1 uses 0", "= 2 of 1", "7 sps 1280",
                          "8 pps of 0", "5 uses 0", "= 3 of 3 key"));
  EXPECT_EQ(listener_.access_unit_bytes, stream.size());
}

TEST_F(H264InspectorTest, ASliceOfUnknownParameterSetsBeginsAnAccessUnitAtItsFirstMacroblock) {
  ASSERT_EQ(Inspect(Slice(true, 0, 0, 0) + Slice(true, 9, 0, 0) + Slice(false, 0, 0, 0)),
            InspectionResult::kOk);
  EXPECT_THAT(listener_.calls,
              ElementsAre("5 uses 0", "5 uses 0", "= 0 of 2 key", "1 uses 0", "= 1 of 1"));
}

TEST_F(H264InspectorTest, RefusesWhatIsNoH264AndLeavesNoCopy) {
  const std::string zeros(3000000, '\0');
  for (const std::string& content :
       {std::string(), std::string("text"), zeros, "x" + Sps(), std::string("\0\0\1\xB3", 4),
        std::string("\0\0\0\1\x40\1", 6), std::string("\0\0\0\1\x46\1", 6),
        std::string("\0\1\x67", 3)}) {
    EXPECT_EQ(Inspect(content, true), InspectionResult::kUnreadable);
    EXPECT_EQ(error_, dir_.File("in") + " is not an H.264 byte stream");
    EXPECT_THAT(listener_.calls, IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(dir_.File("out")));
  }
}

TEST_F(H264InspectorTest, TakesZerosBeforeTheStream) {
  EXPECT_EQ(Inspect(std::string(3000000, '\0') + Sps()), InspectionResult::kOk);
  EXPECT_EQ(listener_.last_offset, 3000000u);
}

TEST_F(H264InspectorTest, StopsWhenNobodyWantsMoreAndLeavesNoCopy) {
  is_wanted_ = false;
  EXPECT_EQ(Inspect(Sps(), true), InspectionResult::kStopped);
  EXPECT_EQ(error_, "");
  EXPECT_FALSE(std::filesystem::exists(dir_.File("out")));
}

TEST_F(H264InspectorTest, RewritesAnSpsWhereverABlockOfTheFileEnds) {
  ASSERT_EQ(Inspect(Sps(), true), InspectionResult::kOk);
  const std::string rewritten = kx_testing::ReadFile(dir_.File("out"));
  ASSERT_NE(rewritten, Sps());
  const std::string tail = std::string("\0\0", 2) + Slice(false, 0, 1, 2);
  for (size_t before = 0; before < Sps().size() + 12; ++before) {
    std::string head = Slice(true, 0, 0, 0);
    head.resize((1 << 20) + 4 - before, '\x55');
    ASSERT_EQ(Inspect(head + Sps() + tail, true), InspectionResult::kOk);
    ASSERT_EQ(kx_testing::ReadFile(dir_.File("out")), head + rewritten + tail) << before;
  }
}

TEST_F(H264InspectorTest, CopiesAnSpsThatIsTooLargeAsItIs) {
  for (const size_t size : {70000, 1100000, 2500000}) {
    const std::string stream = Sps() + std::string(size, '\x55') + Slice(true, 0, 0, 0);
    ASSERT_EQ(Inspect(stream, true), InspectionResult::kOk);
    EXPECT_EQ(kx_testing::ReadFile(dir_.File("out")), stream);
    EXPECT_THAT(listener_.calls, ElementsAre("7 sps 1280 result 0", "5 uses 0", "= 0 of 2 key"));
  }
}

TEST_F(H264InspectorTest, TellsTheSizeOfAUnitThatIsLargerThanABlock) {
  std::string stream = Slice(true, 0, 0, 0);
  stream.resize(5000000, '\x55');
  ASSERT_EQ(Inspect(stream), InspectionResult::kOk);
  EXPECT_EQ(listener_.last_size, 5000000u - 4);
  EXPECT_EQ(listener_.last_start_code_size, 4u);
}

TEST(NalUnitTypeNameTest, NamesEachType) {
  EXPECT_STREQ(NalUnitTypeName(0), "unspecified");
  EXPECT_STREQ(NalUnitTypeName(5), "slice of an IDR picture");
  EXPECT_STREQ(NalUnitTypeName(7), "sequence parameter set");
  EXPECT_STREQ(NalUnitTypeName(23), "reserved");
  EXPECT_STREQ(NalUnitTypeName(24), "unspecified");
  EXPECT_STREQ(NalUnitTypeName(31), "unspecified");
}

TEST(ReorderedCopyTest, TellsThatTheCopyShowsBPicturesInAnotherOrder) {
  const auto slice = [](uint32_t slice_type) {
    return Unit(0x41, BitString().Ue(0).Ue(slice_type).Ue(0).U(4, 1).U(6, 2).U(30, 0x2AAAAAAA));
  };
  const std::string start = Sps() + Pps() + Slice(true, 0, 0, 0);
  for (const auto& [stream, has_b] :
       {std::pair<std::string, bool>{start + slice(0) + slice(5) + slice(7), false},
        {start + slice(1), true},
        {start + slice(6), true}}) {
    for (const bool has_copy : {true, false}) {
      const TempDir dir;
      kx_testing::WriteFile(dir.File("in.264"), stream);
      InspectionOptions options;
      options.input = dir.File("in.264");
      if (has_copy) options.copy = dir.File("out.264");
      Listener listener;
      H264Inspector inspector(&listener);
      ASSERT_EQ(inspector.Inspect(options), InspectionResult::kOk);
      EXPECT_EQ(inspector.shows_other_order(), has_b && has_copy);
      EXPECT_EQ(inspector.warning_text().empty(), !(has_b && has_copy));
    }
  }
}

}  // namespace
}  // namespace kxrtc_host
