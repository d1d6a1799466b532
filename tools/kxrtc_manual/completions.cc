#include "tools/kxrtc_manual/completions.h"

#include <string>
#include <vector>

namespace kxrtc_manual {

std::string FirstLine(const std::string& description) {
  return description.substr(0, description.find('\n'));
}

std::string SingleQuoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

std::string Joined(const std::vector<std::string>& parts) {
  std::string text;
  for (const std::string& part : parts) text += (text.empty() ? "" : " ") + part;
  return text;
}

}  // namespace kxrtc_manual
