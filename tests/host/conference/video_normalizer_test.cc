#include "host/conference/video_normalizer.h"

extern "C" {
#include <libavutil/display.h>
}

#include <gmock/gmock.h>

#include <string>

namespace kxrtc_host {
namespace {

using ::testing::SizeIs;

struct RotationCase {
  const char* name;
  double counterclockwise;
  uint32_t rotation;
};

class RotationTest : public ::testing::TestWithParam<RotationCase> {};

TEST_P(RotationTest, IsClockwise) {
  int32_t matrix[9] = {};
  // Builds a matrix that turns clockwise by its argument.
  av_display_rotation_set(matrix, -GetParam().counterclockwise);
  EXPECT_EQ(RotationOfDisplayMatrix(matrix), GetParam().rotation);
}

INSTANTIATE_TEST_SUITE_P(All, RotationTest,
                         ::testing::Values(RotationCase{"None", 0, 0},
                                           RotationCase{"Quarter", -90, 90},
                                           RotationCase{"Half", 180, 180},
                                           RotationCase{"ThreeQuarters", 90, 270}),
                         [](const auto& test) { return test.param.name; });

TEST(VideoNormalizerTest, TakesAMissingOrBrokenMatrixAsNoRotation) {
  const int32_t zeros[9] = {};
  EXPECT_EQ(RotationOfDisplayMatrix(nullptr), 0u);
  EXPECT_EQ(RotationOfDisplayMatrix(zeros), 0u);
}

// Baseline, level 1.1, 320 x 240; and a picture parameter set.
const std::string kSps("\x67\x42\xC0\x0D\xDA\x05\x07\xE4", 8);
const std::string kPps("\x68\xCE\x3C\x80", 4);
const std::string kIdr("\x65\x88\x84", 3);
const std::string kDelta("\x41\x9A\x10", 3);
const std::string kStartCode("\0\0\0\1", 4);

class VideoNormalizerStreamTest : public ::testing::Test {
 protected:
  VideoNormalizerStreamTest() : context_(avformat_alloc_context()) {
    stream_ = avformat_new_stream(context_.get(), nullptr);
    stream_->codecpar->codec_type = AVMEDIA_TYPE_VIDEO;
    stream_->codecpar->codec_id = AV_CODEC_ID_H264;
    stream_->codecpar->width = 64;
    stream_->codecpar->height = 48;
  }

  void SetExtradata(const std::string& bytes) {
    AVCodecParameters& parameters = *stream_->codecpar;
    parameters.extradata =
        static_cast<uint8_t*>(av_mallocz(bytes.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    bytes.copy(reinterpret_cast<char*>(parameters.extradata), bytes.size());
    parameters.extradata_size = static_cast<int>(bytes.size());
  }

  bool Open() {
    std::string error;
    return normalizer_.Open(*stream_, &error);
  }

  // The access units made of one packet.
  std::vector<VideoFrame> Process(const std::string& bytes) {
    const PacketHandle packet(av_packet_alloc());
    EXPECT_GE(av_new_packet(packet.get(), static_cast<int>(bytes.size())), 0);
    bytes.copy(reinterpret_cast<char*>(packet->data), bytes.size());
    packet->pts = packet->dts = 1234;
    std::vector<VideoFrame> frames;
    whole_ = normalizer_.Process(packet.get(), &frames);
    return frames;
  }

  static std::string Bytes(const VideoFrame& frame) {
    return std::string(frame.data.begin(), frame.data.end());
  }

  const FormatContextHandle context_;
  AVStream* stream_ = nullptr;
  VideoNormalizer normalizer_;
  bool whole_ = false;
};

TEST_F(VideoNormalizerStreamTest, PassesAccessUnitsOnUntouched) {
  ASSERT_TRUE(Open());
  const std::string unit = kStartCode + kSps + kStartCode + kPps + kStartCode + kIdr;
  const std::vector<VideoFrame> frames = Process(unit);
  ASSERT_THAT(frames, SizeIs(1));
  EXPECT_EQ(Bytes(frames[0]), unit);
  EXPECT_TRUE(frames[0].key_frame);
  EXPECT_EQ(frames[0].time_us, 1234);
  EXPECT_EQ(frames[0].width, 320u);
  EXPECT_EQ(frames[0].height, 240u);
  const std::vector<VideoFrame> delta = Process(kStartCode + kDelta);
  ASSERT_THAT(delta, SizeIs(1));
  EXPECT_FALSE(delta[0].key_frame);
  EXPECT_EQ(Bytes(delta[0]), kStartCode + kDelta);
}

TEST_F(VideoNormalizerStreamTest, PutsKnownParameterSetsBeforeABareKeyFrame) {
  SetExtradata(kStartCode + kSps + kStartCode + kPps);
  ASSERT_TRUE(Open());
  const std::vector<VideoFrame> frames = Process(kStartCode + kIdr);
  ASSERT_THAT(frames, SizeIs(1));
  EXPECT_EQ(Bytes(frames[0]), kStartCode + kSps + kStartCode + kPps + kStartCode + kIdr);
  EXPECT_TRUE(frames[0].key_frame);
}

TEST_F(VideoNormalizerStreamTest, TakesAKeyFrameThatNobodyCanDecodeForNone) {
  ASSERT_TRUE(Open());
  const std::vector<VideoFrame> frames = Process(kStartCode + kIdr);
  ASSERT_THAT(frames, SizeIs(1));
  EXPECT_FALSE(frames[0].key_frame);
  EXPECT_EQ(frames[0].width, 64u);
}

TEST_F(VideoNormalizerStreamTest, ConvertsLengthsToStartCodes) {
  SetExtradata(std::string("\x01\x42\xC0\x0D\xFF\xE1\x00\x08", 8) + kSps +
               std::string("\x01\x00\x04", 3) + kPps);
  ASSERT_TRUE(Open());
  const std::vector<VideoFrame> frames = Process(std::string("\0\0\0\3", 4) + kIdr);
  ASSERT_THAT(frames, SizeIs(1));
  EXPECT_TRUE(frames[0].key_frame);
  EXPECT_NE(Bytes(frames[0]).find(kStartCode + kSps + kStartCode + kPps), std::string::npos);
  EXPECT_EQ(frames[0].width, 320u);
}

TEST_F(VideoNormalizerStreamTest, LeavesOutWhatHoldsNoNalUnit) {
  ASSERT_TRUE(Open());
  EXPECT_THAT(Process("no start code"), SizeIs(0));
  EXPECT_FALSE(whole_);
}

}  // namespace
}  // namespace kxrtc_host
