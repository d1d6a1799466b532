#include "tests/testing/json_outputs.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <regex>

#include "tests/testing/temp_dir.h"

namespace kx_testing {

void KeepJsonOutput(const std::string& command, const std::string& output) {
  const char* const folder = std::getenv("KXRTC_JSON_OUTPUTS");
  if (folder == nullptr || output.empty()) return;
  static const std::regex kAsksForJson("(^| )(--json|-[a-z]*j[a-z]*)( |$)");
  if (!std::regex_search(command, kAsksForJson)) return;
  static std::atomic<int> number{0};
  std::string line = command;
  for (char& c : line) c = c == '\n' ? ' ' : c;
  WriteFile(std::string(folder) + "/c++-" + std::to_string(getpid()) + "-" +
                std::to_string(number.fetch_add(1)),
            line + "\n" + output);
}

}  // namespace kx_testing
