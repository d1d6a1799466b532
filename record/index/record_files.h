// The four files of a speaker record, opened for reading.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_INDEX_RECORD_FILES_H_
#define RECORD_INDEX_RECORD_FILES_H_

#include <string>

#include "files/read_only_file.h"

namespace kxrtc_host {

// The path of a record's folder as the library expects it: with a trailing separator.
std::string RecordFolderPath(const std::string& folder);

// True for the names of the four files in their folder.
bool IsRecordFileName(const std::string& name);

// The four files of a record.
struct RecordFiles {
  ReadOnlyFile index;
  ReadOnlyFile video;
  ReadOnlyFile audio;
  ReadOnlyFile descriptor;

  // Tries to open all four.
  void Open(const std::string& folder);
};

// Why the library's replay cannot open a record, in one line with the file: the file is missing, is
// not a regular file, or is not writable. The library opens all four for writing too, although a
// replay writes nothing. Empty when it can.
std::string ReplayObstacle(const RecordFiles& files);

// True when missing permission to write is the only obstacle.
bool IsReadOnly(const RecordFiles& files);

// Why a folder without any file of a record contains none; empty when there is one.
std::string NoRecordText(const RecordFiles& files);

}  // namespace kxrtc_host

#endif  // RECORD_INDEX_RECORD_FILES_H_
