// The files that the subcommands read and write, so that no output overwrites one of them.
#ifndef TOOLS_KXRTC_PATH_OPTIONS_H_
#define TOOLS_KXRTC_PATH_OPTIONS_H_

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
class Validator;
}  // namespace CLI

namespace kxrtc_tool {

// Why `path` must not be written, as text after its name: it is, or would become, one of the four
// files of the record in `folder`, also by another name. Empty: it may be written.
std::string ConflictWithRecord(const std::string& folder, const std::string& path);

// Refuses the name "-".
CLI::Validator FileNameValidator();

// What to add to the message that the output `path` cannot be created.
std::string HintAtForce(const std::string& path, bool force);

// What the help calls the value of an option that is a path; completion goes by it.
inline constexpr char kFileValue[] = "FILE";
inline constexpr char kFolderValue[] = "FOLDER";

class PathOptions {
 public:
  // Add an option of `command` and remember it: the folder of a record, a file, or a scenario with
  // the media that it plays. An option without dashes in its name is required. `path` outlives
  // this.
  CLI::Option* AddRecord(CLI::App* command, const char* name, std::string* path,
                         const char* description);
  CLI::Option* AddFile(CLI::App* command, const char* name, std::string* path,
                       const char* description);
  CLI::Option* AddScenario(CLI::App* command, const char* name, std::string* path,
                           const char* description);

  // The same for folders with records anywhere below them; at least one is required.
  CLI::Option* AddArchives(CLI::App* command, const char* name, std::vector<std::string>* paths,
                           const char* description);

  // The same for a file, or "-", that lists such folders.
  CLI::Option* AddPathList(CLI::App* command, const char* name, std::string* path,
                           const char* description);

  // Why the log must not be written to the file `log`, as text after its name: it is a file of a
  // record, another file of the given options, or a medium of the scenario; or it has the name of a
  // file of a record, where records of an archive are read. Empty: it may.
  std::string ConflictOfLog(const std::string& log) const;

 private:
  enum class Kind { kRecord, kFile, kScenario };
  struct PathOption {
    Kind kind;
    const CLI::Option* option;
    const std::string* path;
  };

  CLI::Option* Add(Kind kind, CLI::App* command, const char* name, std::string* path,
                   const char* description);

  std::vector<PathOption> options_;
  std::vector<const CLI::Option*> archives_;
};

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_PATH_OPTIONS_H_
