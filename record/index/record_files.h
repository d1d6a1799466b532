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

// Why no replay can open a record, in one line with the file: the file is missing or is not a
// regular file. Empty when one can.
std::string ReplayObstacle(const RecordFiles& files);

// True when there is no such obstacle, but no permission to write either. The library opens all
// four for writing too, although its replay writes nothing: it cannot open this record.
bool IsReadOnly(const RecordFiles& files);

// Why a folder without any file of a record contains none; empty when there is one.
std::string NoRecordText(const RecordFiles& files);

}  // namespace kxrtc_host

#endif  // RECORD_INDEX_RECORD_FILES_H_
