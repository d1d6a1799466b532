#include "record/archive/output_name.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "files/byte_digest.h"
#include "record/index/record_text.h"
#include "record/speakers/utf8.h"

namespace kxrtc_host {
namespace {

constexpr char kExtension[] = ".mp4";
constexpr size_t kExtensionBytes = sizeof(kExtension) - 1;
constexpr size_t kDigestBytes = 17;  // "-" and 16 digits.
constexpr size_t kMaxStemBytes = OutputNames::kMaxNameBytes - kExtensionBytes;

std::string Replaced(const std::string& name) {
  std::string safe;
  for (size_t i = 0; i < name.size();) {
    uint32_t character = 0;
    const size_t length = ReadUtf8Character(name, i, &character);
    const bool is_safe = length > 0 && character >= ' ' && character != 0x7F &&
                         !IsTextControl(character) &&
                         (length > 1 || std::strchr("<>:\"|?*\\", name[i]) == nullptr);
    safe += is_safe ? name.substr(i, length) : "_";
    i += std::max<size_t>(1, length);
  }
  return safe;
}

bool HasDigest(const std::string& name) {
  if (name.size() < kDigestBytes || name[name.size() - kDigestBytes] != '-') return false;
  return std::all_of(name.end() - (kDigestBytes - 1), name.end(),
                     [](unsigned char c) { return std::isxdigit(c) != 0; });
}

// The MP4 of another record may have the name of this folder.
bool IsNameOfMp4(const std::string& name) {
  return name.size() >= kExtensionBytes &&
         name.compare(name.size() - kExtensionBytes, kExtensionBytes, kExtension) == 0;
}

std::string SafeName(const std::string& name) {
  const std::string safe = Replaced(name);
  const bool is_kept =
      safe == name && name.size() <= kMaxStemBytes && !HasDigest(name) && !IsNameOfMp4(name);
  if (is_kept) return name;
  ByteDigest digest;
  digest.Add(reinterpret_cast<const uint8_t*>(name.data()), name.size());
  return CutUtf8(safe, kMaxStemBytes - kDigestBytes) +
         Text("-%016llx", static_cast<unsigned long long>(digest.value()));
}

}  // namespace

std::string OutputNames::Of(const std::string& path) {
  std::string output;
  for (size_t at = 0; at <= path.size();) {
    const size_t end = std::min(path.find('/', at), path.size());
    if (!output.empty()) output += '/';
    output += SafeName(path.substr(at, end - at));
    at = end + 1;
  }
  const bool is_changed = output != path;
  output += kExtension;
  if (is_changed && changed_.try_emplace(output, path).first->second != path) return "";
  return output;
}

}  // namespace kxrtc_host
