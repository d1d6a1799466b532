#include "record/bundle/audio_mask.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "record/check/silent_aac.h"
#include "tests/testing/masked_content.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using ::kx_testing::kAudioRecord;
using ::kx_testing::Masked;
using ::kx_testing::RecordBuilder;
using ::kx_testing::TempDir;
using ::kx_testing::WithAdts;

std::string Silence(size_t size, uint32_t channels = 2) {
  const std::vector<uint8_t> bytes = SilentAacFrame(channels, size);
  return std::string(bytes.begin(), bytes.end());
}

// A frame with a header, and the same with silence in it.
std::string Sound(size_t size) { return WithAdts(std::string(size, 's')); }
std::string SilentSound(size_t size) { return WithAdts(Silence(size)); }
// Of a frame whose payload is hidden.
std::string HiddenSound(size_t size) { return Sound(size).substr(0, 7) + Masked(size); }

class AudioMaskTest : public testing::Test {
 protected:
  std::string MaskedSound(const RecordBuilder& builder, AudioMask::Sound sound) {
    builder.Write();
    ReadOnlyFile index;
    ReadOnlyFile audio;
    EXPECT_EQ(index.Open(dir_.File("SpeakeRecord.index")), ReadOnlyFile::State::kOpen);
    EXPECT_EQ(audio.Open(dir_.File("SpeakeRecord.aac")), ReadOnlyFile::State::kOpen);
    return kx_testing::MaskedContent(std::make_unique<AudioMask>(&index, &audio, sound, nullptr),
                                     audio.size(), 50);
  }

  static constexpr AudioMask::Sound kAdts = {true, 2, nullptr};
  static constexpr AudioMask::Sound kRaw = {false, 2, nullptr};

  const TempDir dir_;
  RecordBuilder builder_{dir_};
};

TEST_F(AudioMaskTest, MakesFramesSilentThatDecode) {
  builder_.Start(0).Audio(1, Sound(100)).Audio(2, Sound(300)).Audio(3, Sound(6)).Stop(4);
  EXPECT_EQ(MaskedSound(builder_, kAdts), SilentSound(100) + SilentSound(300) + SilentSound(6));
}

TEST_F(AudioMaskTest, HidesFramesThatDoNotDecodeOrAreTooShortForSilence) {
  builder_.Start(0).Audio(1, Sound(100)).Audio(2, Sound(200)).Audio(3, Sound(3)).Stop(4);
  DamagedSound damaged;
  damaged.Add({Sound(100).size(), static_cast<uint32_t>(Sound(200).size())});
  EXPECT_EQ(MaskedSound(builder_, {true, 2, &damaged}),
            SilentSound(100) + HiddenSound(200) + HiddenSound(3));
}

TEST_F(AudioMaskTest, HidesWhatIsNoFrameAndFindsFramesWithoutAnIndex) {
  builder_.RawAudio("secret" + Sound(50) + "secret" + Sound(60) + Sound(70) + Sound(80) + "secret");
  EXPECT_EQ(MaskedSound(builder_, kAdts), Masked(6) + SilentSound(50) + Masked(6) +
                                              SilentSound(60) + SilentSound(70) + SilentSound(80) +
                                              Masked(6));
}

TEST_F(AudioMaskTest, KeepsTheHeaderOfANamedFrameOfAnotherFormat) {
  const std::string other = WithAdts(std::string(20, 's'), 2, 4);
  builder_.Start(0).Audio(1, Sound(50)).Audio(2, other).Audio(3, Sound(50)).Stop(4);
  EXPECT_EQ(MaskedSound(builder_, kAdts),
            SilentSound(50) + WithAdts(Silence(20), 2, 4) + SilentSound(50));
}

TEST_F(AudioMaskTest, LetsTheHeaderSayHowLongAFrameIs) {
  builder_.Start(0).Audio(1, Sound(50)).Audio(2, Sound(60));
  builder_.DataRecord(kAudioRecord, 3, 0, 110).Stop(4);
  EXPECT_EQ(MaskedSound(builder_, kAdts), SilentSound(50) + SilentSound(60));
}

TEST_F(AudioMaskTest, KeepsTheHeaderOfAFrameThatIsCut) {
  builder_.Start(0).Audio(1, Sound(50)).Audio(2, Sound(50)).Audio(3, Sound(50)).Stop(4);
  builder_.RawAudio(Sound(50).substr(0, 30));
  EXPECT_EQ(MaskedSound(builder_, kAdts),
            SilentSound(50) + SilentSound(50) + SilentSound(50) + HiddenSound(50).substr(0, 30));
}

TEST_F(AudioMaskTest, MasksRawFramesByTheIndexInAnyOrder) {
  builder_.RawAudio(std::string(60, 's') + "?" + std::string(40, 's') + "secret");
  builder_.Start(0).DataRecord(kAudioRecord, 1, 61, 40).DataRecord(kAudioRecord, 2, 0, 60).Stop(3);
  EXPECT_EQ(MaskedSound(builder_, kRaw), Silence(60) + Masked(1) + Silence(40) + Masked(6));
}

TEST_F(AudioMaskTest, LeavesHeadersWholeWhereTheIndexIsOff) {
  builder_.RawAudio(Sound(50) + Sound(60) + Sound(70));
  builder_.Start(0).DataRecord(kAudioRecord, 1, 1, 57).DataRecord(kAudioRecord, 2, 58, 60).Stop(3);
  EXPECT_EQ(MaskedSound(builder_, kRaw), HiddenSound(50) + HiddenSound(60) + HiddenSound(70));
}

TEST_F(AudioMaskTest, MasksFramesThatOverlapOnce) {
  builder_.RawAudio(std::string(100, 's'));
  builder_.Start(0).DataRecord(kAudioRecord, 1, 0, 60).DataRecord(kAudioRecord, 2, 30, 60).Stop(3);
  EXPECT_EQ(MaskedSound(builder_, kRaw), Silence(60) + Masked(40));
}

TEST_F(AudioMaskTest, HidesEverythingWhereNoSilenceIsPossible) {
  builder_.Start(0).Audio(1, Sound(50)).Stop(2);
  EXPECT_EQ(MaskedSound(builder_, {true, 0, nullptr}), HiddenSound(50));
}

}  // namespace
}  // namespace kxrtc_host
