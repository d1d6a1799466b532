// Recognises the files of a record by their content, where a file has the name of another one.
// Threads: an object belongs to one thread at a time.
#ifndef RECORD_REPAIR_FILE_ROLES_H_
#define RECORD_REPAIR_FILE_ROLES_H_

#include <array>
#include <functional>

#include "record/index/record_files.h"
#include "record/repair/repair_changes.h"

namespace kxrtc_host {

// What each file of a record is taken for.
class FileRoles {
 public:
  enum Role { kIndex, kVideo, kAudio, kDescriptor, kRoleCount, kUnknown = kRoleCount };

  // Takes each file for what its name says. `files` is borrowed.
  explicit FileRoles(RecordFiles* files)
      : roles_{&files->index, &files->video, &files->audio, &files->descriptor} {}

  // Looks into the files, unless the index names exactly what is there, and exchanges those that
  // are not what their names say. A second file of one kind is left out. Adds the changes.
  void Recognise(const std::function<bool()>& is_wanted, RepairChanges* changes);

  // What the file with the name of a role has in it.
  Role content(Role name) const { return contents_[name]; }

  ReadOnlyFile* index() const { return roles_[kIndex]; }
  ReadOnlyFile* video() const { return roles_[kVideo]; }
  ReadOnlyFile* audio() const { return roles_[kAudio]; }
  ReadOnlyFile* descriptor() const { return roles_[kDescriptor]; }

 private:
  static Role ContentOf(ReadOnlyFile* file, const std::function<bool()>& is_wanted);
  void Assign(RepairChanges* changes);

  std::array<Role, kRoleCount> contents_{kIndex, kVideo, kAudio, kDescriptor};
  std::array<ReadOnlyFile*, kRoleCount> roles_;
  ReadOnlyFile nothing_;  // In a role that no file has.
};

}  // namespace kxrtc_host

#endif  // RECORD_REPAIR_FILE_ROLES_H_
