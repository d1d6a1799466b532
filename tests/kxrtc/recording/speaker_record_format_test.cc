#include "kxrtc/recording/speaker_record_format.h"

#include <gmock/gmock.h>

#include "tests/testing/record_builder.h"
#include "tests/testing/run_on_threads.h"

namespace kxrtc {
namespace {

using ::kx_testing::BigEndian32;
using ::kx_testing::BigEndian64;
using ::kx_utility::ByteBufferReader;
using ::kx_utility::ByteBufferWriter;

std::string Written(const ByteBufferWriter& writer) {
  return std::string(writer.data(), writer.length());
}

TEST(SpeakerRecordFormatTest, NamesFilesByPlainConcatenation) {
  EXPECT_EQ("folder/SpeakeRecord.desc", SpeakerRecordFilePath("folder/", kDescriptorFileExtension));
  EXPECT_EQ("folder/SpeakeRecord.index", SpeakerRecordFilePath("folder/", kIndexFileExtension));
  EXPECT_EQ("folder/SpeakeRecord.264", SpeakerRecordFilePath("folder/", kVideoFileExtension));
  EXPECT_EQ("folder/SpeakeRecord.aac", SpeakerRecordFilePath("folder/", kAudioFileExtension));
}

TEST(SpeakerRecordFormatTest, FolderWithoutSeparatorYieldsFilesBesideIt) {
  EXPECT_EQ("a/folderSpeakeRecord.264", SpeakerRecordFilePath("a/folder", kVideoFileExtension));
}

TEST(SpeakerRecordFormatTest, NewChannelRecordIsSixteenBytes) {
  ByteBufferWriter writer;
  WriteRecord(SpeakerRecordHeader{kNewChannel, 1000000}, &writer);
  WriteRecord(NewChannelRecord{1}, &writer);
  EXPECT_EQ(std::string("\xEE\xDD\xCC\x03\0\0\0\0\0\x0F\x42\x40\0\0\0\x01", 16), Written(writer));
}

TEST(SpeakerRecordFormatTest, VideoDataRecordIsTwentyFourBytes) {
  ByteBufferWriter writer;
  WriteRecord(SpeakerRecordHeader{kVideoData, 1000000}, &writer);
  WriteRecord(MediaDataRecord{0, 5000}, &writer);
  EXPECT_EQ(std::string("\xEE\xDD\xCC\x06\0\0\0\0\0\x0F\x42\x40\0\0\0\0\0\0\0\0\0\0\x13\x88", 24),
            Written(writer));
}

TEST(SpeakerRecordFormatTest, AttributesStandAsRotationWidthHeight) {
  ByteBufferWriter writer;
  WriteRecord(NewVideoAttributesRecord{-90, 640, 360}, &writer);
  EXPECT_EQ(BigEndian32(0xFFFFFFA6) + BigEndian32(640) + BigEndian32(360), Written(writer));
}

TEST(SpeakerRecordFormatTest, ReadsWhatTheIndexHolds) {
  const std::string bytes = BigEndian32(0xEEDDCC06) + BigEndian64(0x8000000000000001u) +
                            BigEndian64(0x0102030405060708u) + BigEndian32(0xFFFFFFFF) +
                            BigEndian32(3) + BigEndian32(0xFFFFFFA6) + BigEndian32(640) +
                            BigEndian32(360);
  ByteBufferReader reader(bytes.data(), static_cast<uint32_t>(bytes.size()));
  SpeakerRecordHeader header;
  MediaDataRecord data;
  NewChannelRecord channel;
  NewVideoAttributesRecord attributes;
  ASSERT_TRUE(ReadRecord(&reader, &header) && ReadRecord(&reader, &data) &&
              ReadRecord(&reader, &channel) && ReadRecord(&reader, &attributes));
  EXPECT_EQ(kVideoData, header.type);
  EXPECT_EQ(INT64_MIN + 1, header.record_timestamp_us);
  EXPECT_EQ(0x0102030405060708u, data.start_position);
  EXPECT_EQ(0xFFFFFFFFu, data.size);
  EXPECT_EQ(3u, channel.media_type);
  EXPECT_EQ(-90, attributes.rotation_angle);
  EXPECT_EQ(640u, attributes.width);
  EXPECT_EQ(360u, attributes.height);
}

TEST(SpeakerRecordFormatTest, RefusesEveryTruncation) {
  const std::string zeros(kMediaDataRecordSize, '\0');
  for (uint32_t length = 0; length < kMediaDataRecordSize; ++length) {
    ByteBufferReader header_reader(zeros.data(), length);
    ByteBufferReader data_reader(zeros.data(), length);
    ByteBufferReader attributes_reader(zeros.data(), length);
    SpeakerRecordHeader header;
    MediaDataRecord data;
    NewVideoAttributesRecord attributes;
    EXPECT_FALSE(ReadRecord(&header_reader, &header)) << length;
    EXPECT_FALSE(ReadRecord(&data_reader, &data)) << length;
    EXPECT_FALSE(ReadRecord(&attributes_reader, &attributes)) << length;
  }
}

TEST(SpeakerRecordFormatTest, AllFunctionsMayRunAtOnce) {
  const std::string expected =
      BigEndian32(0xEEDDCC07) + BigEndian64(1000000) + BigEndian64(7) + BigEndian32(5000);
  kx_testing::RunOnThreads(4, [&] {
    for (int i = 0; i < 200; ++i) {
      ByteBufferWriter writer;
      WriteRecord(SpeakerRecordHeader{kAudioData, 1000000}, &writer);
      WriteRecord(MediaDataRecord{7, 5000}, &writer);
      EXPECT_EQ(expected, Written(writer));
      ByteBufferReader reader(expected.data(), static_cast<uint32_t>(expected.size()));
      SpeakerRecordHeader header;
      MediaDataRecord data;
      ASSERT_TRUE(ReadRecord(&reader, &header) && ReadRecord(&reader, &data));
      EXPECT_EQ(1000000, header.record_timestamp_us);
      EXPECT_EQ(5000u, data.size);
      uint32_t size = 0;
      EXPECT_TRUE(GetRecordPayloadSize(header.type, &size));
      EXPECT_EQ(kMediaDataRecordSize, size);
      EXPECT_EQ("a/SpeakeRecord.aac", SpeakerRecordFilePath("a/", kAudioFileExtension));
    }
  });
}

struct PayloadCase {
  const char* name;
  uint32_t type;
  bool known;
  uint32_t size;
};

class RecordPayloadSizeTest : public ::testing::TestWithParam<PayloadCase> {};

TEST_P(RecordPayloadSizeTest, FollowsFromTheType) {
  uint32_t size = 99;
  EXPECT_EQ(GetParam().known, GetRecordPayloadSize(GetParam().type, &size));
  EXPECT_EQ(GetParam().known ? GetParam().size : 99, size);
}

INSTANTIATE_TEST_SUITE_P(Types, RecordPayloadSizeTest,
                         ::testing::Values(PayloadCase{"BeforeTheFirst", 0xEEDDCC00, false, 0},
                                           PayloadCase{"Start", 0xEEDDCC01, true, 0},
                                           PayloadCase{"Stop", 0xEEDDCC02, true, 0},
                                           PayloadCase{"Channel", 0xEEDDCC03, true, 4},
                                           PayloadCase{"Attributes", 0xEEDDCC04, true, 12},
                                           PayloadCase{"Reserved", 0xEEDDCC05, false, 0},
                                           PayloadCase{"Video", 0xEEDDCC06, true, 12},
                                           PayloadCase{"Audio", 0xEEDDCC07, true, 12},
                                           PayloadCase{"BehindTheLast", 0xEEDDCC08, false, 0},
                                           PayloadCase{"Zero", 0, false, 0}),
                         [](const auto& param_info) { return param_info.param.name; });

}  // namespace
}  // namespace kxrtc
