#include "record/bundle/descriptor_mask.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <string_view>

#include "kxrtc/recording/speaker_record_descriptor.h"

namespace kxrtc_host {
namespace {

namespace keys = kxrtc::descriptor_key;

constexpr size_t kPieceSize = 64 * 1024;
constexpr size_t kLongestWord = 64;
constexpr char kMaskLetter = 'x';
constexpr char kMaskDigit = '1';
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

constexpr std::string_view kMembers[] = {
    keys::kOverall,         keys::kSessionCount,      keys::kContainVideo,
    keys::kContainDesktop,  keys::kAudioChannelCount, keys::kSessions,
    keys::kStartTimestamp,  keys::kEndTimestamp,      keys::kVideoFrameCount,
    keys::kAudioFrameCount, keys::kVideoSwitchCount,
};
constexpr std::string_view kLiterals[] = {"true", "false", "null"};

bool IsLetter(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0 || c == '_'; }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// What JSON is built of, the comments that its readers accept included.
bool IsStructure(char c) {
  constexpr std::string_view kStructure = "{}[]:,\"+-./* \t\r\n";
  return kStructure.find(c) != kStructure.npos;
}

}  // namespace

bool DescriptorMask::Next(MaskStretch* stretch) {
  stretch->begin = position_;
  stretch->zeros = 0;
  stretch->bytes.resize(kPieceSize);
  stretch->bytes.resize(descriptor_->Read(position_, stretch->bytes.data(), kPieceSize));
  for (uint8_t& byte : stretch->bytes) {
    byte = static_cast<uint8_t>(Mask(static_cast<char>(byte)));
    ++position_;
  }
  return !stretch->bytes.empty();
}

char DescriptorMask::Mask(char c) {
  has_ended_ = has_ended_ || c == '\0';
  if (has_ended_) return '\0';
  if (position_ < kByteOrderMark.size() && c == kByteOrderMark[position_]) return c;
  if (position_ < kept_to_) return c;
  return is_text_ ? MaskText(c) : MaskOutside(c);
}

char DescriptorMask::MaskText(char c) {
  if (is_escaped_) {
    constexpr std::string_view kEscapes = "\"\\/bfnrtu";
    constexpr int kHexDigits = 4;
    is_escaped_ = false;
    if (c == 'u') hex_digits_ = kHexDigits;
    return kEscapes.find(c) != kEscapes.npos ? c : kMaskLetter;
  }
  if (hex_digits_ > 0 && std::isxdigit(static_cast<unsigned char>(c)) != 0) {
    constexpr char kMaskHexDigit = 'a';
    --hex_digits_;
    return kMaskHexDigit;
  }
  hex_digits_ = 0;
  is_escaped_ = c == '\\';
  is_text_ = c != '"';
  return c == '"' || c == '\\' || c == '\n' || c == '\r' ? c : kMaskLetter;
}

char DescriptorMask::MaskOutside(char c) {
  if (c == '"') {
    is_text_ = !(keeps_numbers_ = KeepsWord(kMembers, position_ + 1, "\""));
    return c;
  }
  const bool begins_word = IsLetter(c) && !is_word_;
  const bool is_exponent = begins_word && is_number_ && (c == 'e' || c == 'E');
  is_word_ = IsLetter(c) && !is_exponent;
  is_number_ = IsDigit(c);
  if (is_number_) return keeps_numbers_ ? c : kMaskDigit;
  if (begins_word && KeepsWord(kLiterals, position_, "")) return c;
  return is_exponent || IsStructure(c) ? c : kMaskLetter;
}

// True when one of `words`, with `end` behind it, stands there. It then stays.
template <size_t count>
bool DescriptorMask::KeepsWord(const std::string_view (&words)[count], uint64_t position,
                               std::string_view end) {
  std::array<char, kLongestWord> bytes;
  const size_t size = descriptor_->Read(position, bytes.data(), bytes.size());
  const std::string_view text(bytes.data(), size);
  for (const std::string_view word : words) {
    if (text.substr(0, word.size()) != word) continue;
    if (text.substr(word.size(), end.size()) != end) continue;
    kept_to_ = position + word.size() + end.size();
    return true;
  }
  return false;
}

}  // namespace kxrtc_host
