#include "host/media/media.h"

#include "host/bundle/tar_gz_archive.h"
#include "host/conference/conference.h"
#include "host/ffmpeg/aac_examiner.h"
#include "host/ffmpeg/ffmpeg_encoder.h"
#include "host/ffmpeg/ffmpeg_log.h"
#include "host/ffmpeg/ffmpeg_version.h"
#include "host/ffmpeg/h264_format_reader.h"
#include "host/ffmpeg/jpeg_storyboard_painter.h"
#include "host/ffmpeg/jpeg_thumbnail_maker.h"
#include "host/ffmpeg/mp4_key_frames.h"
#include "host/mp4/encoder_list.h"
#include "host/mp4/media_component_factory_imp.h"
#include "host/mp4/sample_bounds.h"
#include "kx_utility/export.h"

namespace kxrtc_host {
namespace {

class Mp4FactoryOnFFmpeg final : public Mp4Factory {
 public:
  explicit Mp4FactoryOnFFmpeg(const Mp4SinkWriterOptions& options) : factory_(options) {}

  bool CreateMp4SinkWriter(kxrtc::Mp4SinkWriter** writer, bool is_desktop) override {
    return factory_.CreateMp4SinkWriter(writer, is_desktop);
  }
  void ReleaseMp4SinkWriter(kxrtc::Mp4SinkWriter* writer) override {
    factory_.ReleaseMp4SinkWriter(writer);
  }
  void Discard() override { factory_.Discard(); }
  int64_t media_time_us() const override { return factory_.media_time_us(); }
  uint64_t video_samples() const override { return factory_.video_samples(); }
  const Mp4WriterStatus& status() const override { return factory_.status(); }

 private:
  MediaComponentFactoryImp factory_;
};

class MediaOnFFmpeg final : public Media {
 public:
  std::unique_ptr<SoundExaminer> MakeSoundExaminer() const override {
    return std::make_unique<AacExaminer>();
  }

  std::unique_ptr<ParameterSetExaminer> MakeParameterSetExaminer() const override {
    return std::make_unique<H264FormatReader>();
  }

  std::unique_ptr<ThumbnailMaker> MakeThumbnailMaker() const override {
    return std::make_unique<JpegThumbnailMaker>();
  }

  std::unique_ptr<StoryboardPainter> MakeStoryboardPainter(const ImageSize& tile,
                                                           const ImageSize& sheet) const override {
    return std::make_unique<JpegStoryboardPainter>(tile, sheet);
  }

  std::unique_ptr<KeyFrameSource> OpenMp4KeyFrames(const std::string& path,
                                                   std::string* error) const override {
    auto frames = std::make_unique<Mp4KeyFrames>();
    if (!frames->Open(path, error)) return nullptr;
    return frames;
  }

  std::unique_ptr<Mp4Factory> MakeMp4Factory(
      Mp4SinkWriterOptions options, const std::optional<RecordOutline>& outline) const override {
    if (outline) options.bounds = BoundsOf(*outline, options.video_mode, options.picture);
    return std::make_unique<Mp4FactoryOnFFmpeg>(options);
  }

  std::vector<EncoderState> ListEncoders() const override { return TryEncoders(FFmpegEncoders()); }

  std::unique_ptr<ConferenceRun> MakeConference(const Scenario& scenario,
                                                const ConferenceOptions& options,
                                                ConferenceObserver* observer) const override {
    return std::make_unique<Conference>(scenario, options, observer);
  }

  std::unique_ptr<ArchiveSink> MakeArchive(OutputFile* output) const override {
    return std::make_unique<TarGzArchive>(output);
  }

  std::map<std::string, std::string> LibraryVersions() const override {
    return {{"FFmpeg", FFmpegVersion()}, {"libarchive", ArchiveLibraryVersion()}};
  }
};

}  // namespace
}  // namespace kxrtc_host

// Its name is kMediaEntryName.
extern "C" KX_EXPORT const kxrtc_host::Media* KxrtcMedia() {
  static const kxrtc_host::MediaOnFFmpeg media;
  kxrtc_host::SendFFmpegLogToLibraryLog();
  return &media;
}
