// The input is the four files of a record. Whatever they hold: looking at them ends without a word
// from a sanitizer, the prediction agrees with the real replay, a repaired record plays to its end,
// and repairing it once more changes nothing.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/fuzz_folder.h"
#include "fuzz/fuzz_input.h"
#include "record/predict/record_analysis.h"
#include "record/repair/record_repair.h"
#include "tests/testing/replay_calls.h"

using kx_fuzz::Check;

namespace {

std::string ReadAll(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void CheckSameMedia(const std::string& first, const std::string& second) {
  for (const char* name : {"/SpeakeRecord.index", "/SpeakeRecord.264", "/SpeakeRecord.aac"}) {
    Check(ReadAll(first + name) == ReadAll(second + name), "a valid record stays as it is");
  }
}

// A repaired record plays to its end, and there is nothing left to repair.
void CheckRepair(const std::string& source, const std::string& targets) {
  kxrtc_host::RepairOptions options;
  options.audio_channels = 2;
  options.sync = false;
  const std::string first = targets + "first";
  const std::string second = targets + "second";
  const auto repaired = kxrtc_host::RepairRecord(source, first, options);
  Check(repaired.repaired || !repaired.error.empty(), "a refusal is explained");
  if (repaired.repaired) {
    const auto after = kxrtc_host::AnalyseRecord(first);
    Check(kx_testing::RunReplay(first + "/").completes, "a repaired record plays to its end");
    // What the MP4 writer does not take is no fault of the record.
    Check(after.findings.count(kxrtc_host::Severity::kError) ==
              after.findings.count(kxrtc_host::FindingCode::kReplayRefused),
          "and has no error");
    Check(after.findings.count(kxrtc_host::FindingCode::kDataHole) +
                  after.findings.count(kxrtc_host::FindingCode::kDataOverlap) +
                  after.findings.count(kxrtc_host::FindingCode::kDataStaleTail) ==
              0,
          "and names each byte once, in order");
    const auto again = kxrtc_host::RepairRecord(first, second, options);
    Check(again.repaired && again.changes.changes == 0, "there is nothing left to repair");
    CheckSameMedia(first, second);
  }
  std::filesystem::remove_all(first);
  std::filesystem::remove_all(second);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const kx_fuzz::FuzzFolder source;
  static const kx_fuzz::FuzzFolder targets;
  kx_fuzz::FuzzInput input(data, size);
  const size_t index_size = input.Number(2);
  const size_t video_size = input.Number(2);
  const size_t audio_size = input.Number(2);
  source.Write("SpeakeRecord.index", input.Bytes(index_size));
  source.Write("SpeakeRecord.264", input.Bytes(video_size));
  source.Write("SpeakeRecord.aac", input.Bytes(audio_size));
  source.Write("SpeakeRecord.desc", input.Bytes(input.size()));

  const auto before = kxrtc_host::AnalyseRecord(source.path());
  if (before.replay.encode.kind != kxrtc_host::TranscodeKind::kRecordUnreadable) {
    Check(kx_testing::PredictReplay(source.path()) == kx_testing::RunReplay(source.path()),
          "the prediction agrees with the replay");
  }
  CheckRepair(source.path(), targets.path());
  // The same without the index, and with the data files under each other's names.
  const std::string index = source.path() + "SpeakeRecord.index";
  const std::string video = source.path() + "SpeakeRecord.264";
  const std::string audio = source.path() + "SpeakeRecord.aac";
  const std::string spare = source.path() + "spare";
  std::filesystem::rename(video, spare);
  std::filesystem::rename(audio, video);
  std::filesystem::rename(spare, audio);
  CheckRepair(source.path(), targets.path());
  std::filesystem::remove(index);
  CheckRepair(source.path(), targets.path());
  return 0;
}
