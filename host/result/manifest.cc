#include "host/result/manifest.h"

#include <array>
#include <filesystem>
#include <system_error>
#include <utility>

#include "files/byte_digest.h"
#include "host/result/parsed_json.h"
#include "record/index/record_text.h"
#include "record/show/record_documents.h"

namespace kxrtc_host {
namespace {

constexpr char kDocumentName[] = "kxrtc.outcome";
constexpr std::array<const char*, 4> kOutcomeNames = {"made", "found", "failed", "hook_failed"};

std::string TextMember(const Json::Value& line, const char* name) {
  return line.isObject() && line[name].isString() ? line[name].asString() : "";
}

// The path without links before its last name.
std::filesystem::path RealPath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(path, error);
  if (error) return path;
  const std::filesystem::path folder =
      std::filesystem::weakly_canonical(absolute.parent_path(), error);
  return error ? absolute : folder / absolute.filename();
}

// The member of a line that names an output, without the braces around it.
std::string OutputMember(const std::string& name) {
  Json::Value member;
  member["output"] = name;
  const std::string text = JsonText(member);
  return text.substr(1, text.size() - 2);
}

}  // namespace

const char* ManifestOutcomeName(ManifestOutcome outcome) {
  return kOutcomeNames[static_cast<size_t>(outcome)];
}

std::string OriginName(const std::string& origin) {
  ByteDigest digest;
  digest.Add(reinterpret_cast<const uint8_t*>(origin.data()), origin.size());
  return Text("%016llx", static_cast<unsigned long long>(digest.value()));
}

bool Manifest::Fail() {
  error_text_ = lines_.error_text();
  return false;
}

bool Manifest::Open(const std::string& path, SharedLines::Access access) {
  folder_ = RealPath(path).parent_path();
  return lines_.Open(path, access) || Fail();
}

std::string Manifest::NameOf(const std::string& output) const {
  const std::filesystem::path path = RealPath(output);
  const std::filesystem::path below = path.lexically_relative(folder_);
  const bool is_below = !below.empty() && *below.begin() != "..";
  Json::Value member;
  member["output"] = (is_below ? below : path).string();
  // As it reads in a line, where bytes that are not UTF-8 are replaced.
  return TextMember(ParsedJson(JsonText(member)), "output");
}

void Manifest::Note(const std::string& line) {
  const Json::Value value = ParsedJson(line);
  const std::string output = TextMember(value, "output");
  if (output.empty() || TextMember(value, "document") != kDocumentName) return;
  const std::string outcome = TextMember(value, "outcome");
  const bool is_settled = outcome == ManifestOutcomeName(ManifestOutcome::kMade) ||
                          outcome == ManifestOutcomeName(ManifestOutcome::kFound);
  settled_[output] = is_settled ? TextMember(value, "made_of") : "";
}

bool Manifest::ReadAll() {
  settled_.clear();
  return lines_.Read([this](const std::string& line) { Note(line); }) || Fail();
}

bool Manifest::ReadOf(const std::string& output, const IsWanted& is_wanted) {
  settled_.clear();
  // On a network file system the lock also makes lines of other machines visible.
  if (!lines_.Lock(is_wanted)) return Fail();
  const std::string member = OutputMember(NameOf(output));
  const bool is_read = lines_.Read([&](const std::string& line) {
    if (line.find(member) != std::string::npos) Note(line);
  });
  lines_.Unlock();
  return is_read || Fail();
}

bool Manifest::IsSettled(const std::string& output, const std::string& origin) const {
  const auto settled = settled_.find(NameOf(output));
  return settled != settled_.end() && settled->second == OriginName(origin);
}

bool Manifest::Append(const std::string& output, Json::Value line, const IsWanted& is_wanted) {
  const Json::Value document = Document(kDocumentName);
  for (const std::string& name : document.getMemberNames()) line[name] = document[name];
  line["output"] = NameOf(output);
  if (!lines_.Lock(is_wanted)) return Fail();
  const bool is_written = lines_.Append(JsonText(line));
  lines_.Unlock();
  return is_written || Fail();
}

}  // namespace kxrtc_host
