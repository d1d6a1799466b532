// Finds the records below a folder: every folder with a regular file that has the name of a
// record's file.
// Threads: any; blocks while it reads.
#ifndef RECORD_ARCHIVE_RECORD_FINDER_H_
#define RECORD_ARCHIVE_RECORD_FINDER_H_

#include <functional>
#include <string>

namespace kxrtc_host {

// Paths are those below the folder of the search, and empty for that folder.
struct RecordSearch {
  // A record. `folder`: its descriptor, borrowed until the call returns. False ends the search.
  std::function<bool(const std::string& path, int folder)> on_record;
  // A folder that cannot be read, or not to its end: what is below it may be missing.
  std::function<void(const std::string& path, const std::string& why)> on_unreadable;
};

// A folder comes before those below it, and those of one folder in the order of their bytes.
// Follows no symbolic link but `root` itself, also while somebody changes the tree. What disappears
// meanwhile is left out, and so are folders under the temporary name of NewFolder. Folders whose
// path is too long for a file of a record count as unreadable. Keeps the names of the folders
// beside the path to the current one, and few descriptors.
void FindRecords(const std::string& root, const RecordSearch& search);

}  // namespace kxrtc_host

#endif  // RECORD_ARCHIVE_RECORD_FINDER_H_
