// Runs a fuzz target without an engine over the files of the given folders.
//
// usage: TARGET FOLDER_OR_FILE...
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <vector>

#include "fuzz/fuzz_input.h"

namespace {

std::set<std::filesystem::path> FilesOf(const std::filesystem::path& place) {
  if (!std::filesystem::is_directory(place)) return {place};
  std::set<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(place)) {
    if (entry.is_regular_file()) files.insert(entry.path());
  }
  return files;
}

bool Replay(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  // Without spare capacity, so that a sanitizer sees a read behind the end.
  const std::vector<uint8_t> read{std::istreambuf_iterator<char>(file), {}};
  const std::vector<uint8_t> input(read.begin(), read.end());
  if (!file.is_open() || file.bad()) return false;
  LLVMFuzzerTestOneInput(input.data(), input.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  size_t replayed = 0;
  for (int i = 1; i < argc; ++i) {
    for (const std::filesystem::path& path : FilesOf(argv[i])) {
      if (!Replay(path)) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        return 1;
      }
      ++replayed;
    }
  }
  LLVMFuzzerTestOneInput(nullptr, 0);
  std::printf("%zu inputs replayed\n", replayed);
  return replayed == 0 ? 1 : 0;
}
