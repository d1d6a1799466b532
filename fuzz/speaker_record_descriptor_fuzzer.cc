// The input is a descriptor. Whatever it holds: nothing is thrown; a refused one answers nothing;
// an accepted one has as many sessions as it says, and read again from what a writer's keys make of
// it it gives the same values.
#include <string>
#include <vector>

#include "fuzz/fuzz_folder.h"
#include "fuzz/fuzz_input.h"
#include "kxrtc/recording/speaker_record_descriptor.h"

using kx_fuzz::Check;
using kxrtc::SpeakerRecordDescReader;
using kxrtc::SpeakerRecordOverall;
using kxrtc::SpeakerRecordSession;

namespace {

// The whole record as the writer would put it.
std::string Rendered(const SpeakerRecordDescReader& reader) {
  SpeakerRecordOverall overall;
  Check(reader.GetSpeakerRecordOverall(&overall), "an accepted document has its counts");
  std::vector<SpeakerRecordSession> sessions;
  for (uint32_t i = 0; i < overall.record_session_count; ++i) {
    SpeakerRecordSession session;
    Check(reader.GetSpeakerRecordSession(i, &session), "each session is there");
    sessions.push_back(session);
  }
  SpeakerRecordSession beyond;
  Check(!reader.GetSpeakerRecordSession(overall.record_session_count, &beyond),
        "there are no more sessions than the count");
  return kxrtc::RenderSpeakerRecordDesc(overall, sessions);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const kx_fuzz::FuzzFolder folder;
  folder.Write("desc", std::string(reinterpret_cast<const char*>(data), size));
  SpeakerRecordDescReader reader;
  if (!reader.Initialize(folder.path() + "desc")) {
    SpeakerRecordOverall overall;
    SpeakerRecordSession session;
    Check(!reader.GetSpeakerRecordOverall(&overall) && !reader.GetSpeakerRecordSession(0, &session),
          "a refused document answers nothing");
    return 0;
  }
  const std::string rendered = Rendered(reader);
  folder.Write("again", rendered);
  SpeakerRecordDescReader again;
  Check(again.Initialize(folder.path() + "again"), "the writer's form is accepted");
  Check(Rendered(again) == rendered, "values survive the writer's form");
  return 0;
}
