#include "host/mp4/tag_writer.h"

extern "C" {
#include <libavutil/dict.h>
#include <libavutil/opt.h>
}

#include "record/speakers/timeline_entry.h"

namespace kxrtc_host {
namespace {

// Bytes of the index: the boxes of title and list, those of the track, and what a chapter has in
// the tables of its track besides its title, which stands in the list.
constexpr uint64_t kMetadataBytes = 256;
constexpr uint64_t kChapterTrackBytes = 1024;
constexpr uint64_t kChapterBytes = 4 + 8 + 8 + 12 + 9;

bool AddChapter(const Chapter& chapter, int64_t end_us, AVFormatContext* format) {
  auto* const added = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
  if (added == nullptr) return false;
  added->id = format->nb_chapters;
  added->time_base = {1, AV_TIME_BASE};
  added->start = chapter.start_us;
  added->end = end_us;
  if (av_dict_set(&added->metadata, "title", chapter.title.c_str(), 0) < 0) {
    av_free(added);
    return false;
  }
  format->chapters[format->nb_chapters++] = added;
  return true;
}

}  // namespace

uint64_t TagBytes(const Mp4Tags& tags) {
  uint64_t bytes = kMetadataBytes + tags.title.size();
  if (!tags.chapters.empty()) bytes += kChapterTrackBytes;
  for (const Chapter& chapter : tags.chapters) bytes += kChapterBytes + chapter.title.size();
  return bytes;
}

bool AddMetadata(const Mp4Tags& tags, AVFormatContext* format) {
  if (!tags.title.empty() && av_dict_set(&format->metadata, "title", tags.title.c_str(), 0) < 0) {
    return false;
  }
  return !tags.created_us || !IsMp4Time(*tags.created_us) ||
         av_dict_set(&format->metadata, "creation_time", UtcText(*tags.created_us).c_str(), 0) >= 0;
}

bool AddChapters(const std::vector<Chapter>& chapters, int64_t end_us, AVFormatContext* format) {
  if (chapters.empty()) return true;
  // avformat_free_context() frees both.
  format->chapters =
      static_cast<AVChapter**>(av_calloc(chapters.size(), sizeof(*format->chapters)));
  if (format->chapters == nullptr) return false;
  for (size_t i = 0; i < chapters.size(); ++i) {
    const int64_t next_us = i + 1 < chapters.size() ? chapters[i + 1].start_us : end_us;
    if (!AddChapter(chapters[i], next_us, format)) return false;
  }
  return chapters.size() <= kMaxListedChapters ||
         av_opt_set(format->priv_data, "movflags", "+disable_chpl", 0) >= 0;
}

}  // namespace kxrtc_host
