// A chapter of an MP4.
#ifndef RECORD_SPEAKERS_CHAPTER_H_
#define RECORD_SPEAKERS_CHAPTER_H_

#include <cstdint>
#include <string>

namespace kxrtc_host {

// It lasts until the next one starts, the last one to the end of the file.
struct Chapter {
  int64_t start_us = 0;
  std::string title;  // UTF-8, at most kMaxChapterTitleBytes.
};

// Players keep the length of a title in one byte.
inline constexpr size_t kMaxChapterTitleBytes = 255;

}  // namespace kxrtc_host

#endif  // RECORD_SPEAKERS_CHAPTER_H_
