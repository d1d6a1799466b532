// The input is the four files of a record; the fourth is its speaker timeline too. Whatever they
// hold: a mask of any kind gives a file of the same length, whatever the pieces in which it is
// read; the masked video has the same NAL units, the masked index the same records, and masking
// twice changes nothing.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "files/read_only_file.h"
#include "fuzz/fuzz_folder.h"
#include "fuzz/fuzz_input.h"
#include "kxrtc/media/video/h264/nal_unit.h"
#include "record/bundle/audio_mask.h"
#include "record/bundle/descriptor_mask.h"
#include "record/bundle/index_mask.h"
#include "record/bundle/timeline_mask.h"
#include "record/bundle/video_mask.h"
#include "tests/testing/masked_content.h"

using kx_fuzz::Check;
using kxrtc_host::FileMask;
using kxrtc_host::IndexWalker;
using kxrtc_host::ReadOnlyFile;

namespace {

using MakeMask = std::function<std::unique_ptr<FileMask>(ReadOnlyFile* file)>;

std::string Masked(const std::string& path, const MakeMask& make, size_t piece) {
  ReadOnlyFile file;
  Check(file.Open(path) == ReadOnlyFile::State::kOpen, "the file can be read");
  return kx_testing::MaskedContent(make(&file), file.size(), piece);
}

// The type, place and bytes of each NAL unit.
std::vector<std::tuple<uint32_t, uint32_t, char>> UnitsOf(const std::string& video) {
  std::vector<std::tuple<uint32_t, uint32_t, char>> units;
  for (const auto& unit : kxrtc::H264::FindNaluIndices(
           reinterpret_cast<const uint8_t*>(video.data()), static_cast<uint32_t>(video.size()))) {
    units.emplace_back(unit.start_offset, unit.payload_size, video[unit.payload_start_offset]);
  }
  return units;
}

// The kind, place and length of each step, and the type of the record.
std::vector<std::tuple<int, uint64_t, uint64_t, uint32_t>> StepsOf(const std::string& path) {
  ReadOnlyFile file;
  Check(file.Open(path) == ReadOnlyFile::State::kOpen, "the index can be read");
  IndexWalker walker(&file);
  kxrtc_host::IndexRecord record;
  std::vector<std::tuple<int, uint64_t, uint64_t, uint32_t>> steps;
  for (;;) {
    const IndexWalker::Step step = walker.Next(&record);
    if (step == IndexWalker::Step::kEnd) return steps;
    steps.emplace_back(static_cast<int>(step), record.offset, walker.skipped_bytes(),
                       record.header.type);
  }
}

std::string MaskedTimeline(const std::string& folder) {
  kxrtc_host::TimelineMask mask;
  Check(mask.Open(folder), "the timeline can be read");
  std::string text;
  for (std::string part; mask.Next(&part);) text += part;
  return text;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const kx_fuzz::FuzzFolder folder;
  constexpr const char* kNames[] = {"index", "video", "audio", "descriptor"};
  kx_fuzz::FuzzInput input(data, size);
  const size_t sizes[] = {input.Number(2), input.Number(2), input.Number(2)};
  for (size_t i = 0; i < 3; ++i) folder.Write(kNames[i], input.Bytes(sizes[i]));
  const std::string descriptor = input.Bytes(input.size());
  folder.Write(kNames[3], descriptor);

  ReadOnlyFile index;
  Check(index.Open(folder.path() + "index") == ReadOnlyFile::State::kOpen, "there is an index");
  const MakeMask masks[] = {
      [](ReadOnlyFile* file) { return std::make_unique<kxrtc_host::IndexMask>(file, nullptr); },
      [](ReadOnlyFile* file) {
        return std::make_unique<kxrtc_host::VideoMask>(file, true, nullptr);
      },
      [&index](ReadOnlyFile* file) {
        const kxrtc_host::AudioMask::Sound sound = {true, 2, nullptr};
        return std::make_unique<kxrtc_host::AudioMask>(&index, file, sound, nullptr);
      },
      [](ReadOnlyFile* file) { return std::make_unique<kxrtc_host::DescriptorMask>(file); },
      [](ReadOnlyFile* file) {
        return std::make_unique<kxrtc_host::VideoMask>(file, false, nullptr);
      },
      [&index](ReadOnlyFile* file) {
        const kxrtc_host::AudioMask::Sound sound = {false, 1, nullptr};
        return std::make_unique<kxrtc_host::AudioMask>(&index, file, sound, nullptr);
      }};
  for (const char* name : kNames) {
    const std::string path = folder.path() + name;
    ReadOnlyFile file;
    Check(file.Open(path) == ReadOnlyFile::State::kOpen, "the file can be read");
    std::string content(file.size(), '\0');
    Check(file.Read(0, &content[0], content.size()) == content.size(), "to its end");
    for (const MakeMask& make : masks) {
      const std::string masked = Masked(path, make, 1 << 20);
      Check(masked == Masked(path, make, 7), "pieces make no difference");
    }
    const std::string video = Masked(path, masks[1], 1 << 20);
    Check(UnitsOf(video) == UnitsOf(content), "the NAL units stay");
    folder.Write("masked", video);
    Check(Masked(folder.path() + "masked", masks[1], 1 << 20) == video, "video is masked once");
    folder.Write("masked", Masked(path, masks[0], 1 << 20));
    Check(StepsOf(folder.path() + "masked") == StepsOf(path), "the records stay");
  }
  folder.Write("SpeakerTimeline.ndjson", descriptor);
  const std::string timeline = MaskedTimeline(folder.path());
  folder.Write("SpeakerTimeline.ndjson", timeline);
  Check(MaskedTimeline(folder.path()) == timeline, "a timeline is masked once");
  return 0;
}
