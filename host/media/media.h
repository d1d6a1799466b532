// Everything of the host that needs many libraries, FFmpeg's or that of archives, behind one
// interface. It is a module, kxrtc_media, so that a program loads them when it needs them and not
// at its start. Threads: any.
#ifndef HOST_MEDIA_MEDIA_H_
#define HOST_MEDIA_MEDIA_H_

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "files/output_file.h"
#include "host/conference/conference_run.h"
#include "host/mp4/encoder_choice.h"
#include "host/mp4/mp4_factory.h"
#include "host/mp4/writer_options.h"
#include "host/scenario/scenario.h"
#include "record/bundle/archive_sink.h"
#include "record/check/parameter_set_examiner.h"
#include "record/check/sound_examiner.h"
#include "record/predict/record_outline.h"
#include "record/show/key_frame_source.h"
#include "record/show/storyboard_painter.h"
#include "record/show/thumbnail_maker.h"

namespace kxrtc_host {

// Lives until the program ends, as does the code of all that it makes. FFmpeg's messages go to the
// library's log.
class Media {
 public:
  virtual std::unique_ptr<SoundExaminer> MakeSoundExaminer() const = 0;
  virtual std::unique_ptr<ParameterSetExaminer> MakeParameterSetExaminer() const = 0;
  virtual std::unique_ptr<ThumbnailMaker> MakeThumbnailMaker() const = 0;

  // All sides are even.
  virtual std::unique_ptr<StoryboardPainter> MakeStoryboardPainter(
      const ImageSize& tile, const ImageSize& sheet) const = 0;

  // The key frames of an MP4 file. Null: `*error` says why, with the path.
  virtual std::unique_ptr<KeyFrameSource> OpenMp4KeyFrames(const std::string& path,
                                                           std::string* error) const = 0;

  // A factory of MP4 writers. `outline` gives the bounds of the samples; without one, those of
  // `options` count.
  virtual std::unique_ptr<Mp4Factory> MakeMp4Factory(
      Mp4SinkWriterOptions options, const std::optional<RecordOutline>& outline) const = 0;

  // The encoders that can be chosen, each tried.
  virtual std::vector<EncoderState> ListEncoders() const = 0;

  // The arguments outlive the result.
  virtual std::unique_ptr<ConferenceRun> MakeConference(const Scenario& scenario,
                                                        const ConferenceOptions& options,
                                                        ConferenceObserver* observer) const = 0;

  // `output` outlives the result; see TarGzArchive.
  virtual std::unique_ptr<ArchiveSink> MakeArchive(OutputFile* output) const = 0;

  // The versions of the libraries in use, by their names.
  virtual std::map<std::string, std::string> LibraryVersions() const = 0;

 protected:
  ~Media() = default;
};

// The one function that the module exports, with the type MediaEntry.
inline constexpr char kMediaEntryName[] = "KxrtcMedia";
using MediaEntry = const Media*();

}  // namespace kxrtc_host

#endif  // HOST_MEDIA_MEDIA_H_
