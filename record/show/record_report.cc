#include "record/show/record_report.h"

#include <json/value.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "files/link_target.h"
#include "files/read_only_file.h"
#include "record/index/record_text.h"
#include "record/show/anonymous_report.h"
#include "record/show/record_documents.h"
#include "record/show/report_people.h"

namespace kxrtc_host {
namespace {

std::string FolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string Base64(const std::string& bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t count = std::min<size_t>(3, bytes.size() - i);
    uint32_t group = 0;
    for (size_t k = 0; k < 3; ++k) {
      group = (group << 8) | (k < count ? static_cast<uint8_t>(bytes[i + k]) : 0u);
    }
    for (size_t k = 0; k < 4; ++k) {
      text += k <= count ? kDigits[(group >> (18 - 6 * k)) & 63] : '=';
    }
  }
  return text;
}

// Everything but plain letters becomes an escape, so that a name is never read as a scheme.
std::string UrlPath(const std::string& path) {
  std::string url;
  for (const char c : path) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '/' || c == '.' || c == '-' || c == '_';
    if (plain) {
      url += c;
    } else {
      url += Text("%%%02X", static_cast<unsigned>(static_cast<uint8_t>(c)));
    }
  }
  return url;
}

std::vector<std::string> Components(const std::string& path) {
  std::vector<std::string> list;
  size_t begin = 0;
  while (begin <= path.size()) {
    const size_t end = std::min(path.find('/', begin), path.size());
    if (end > begin) list.push_back(path.substr(begin, end - begin));
    begin = end + 1;
  }
  return list;
}

// Both absolute and without links.
std::string RelativePath(const std::string& target, const std::string& folder) {
  const std::vector<std::string> to = Components(target);
  const std::vector<std::string> from = Components(folder);
  size_t common = 0;
  while (common < to.size() && common < from.size() && to[common] == from[common]) ++common;
  std::string path;
  for (size_t i = common; i < from.size(); ++i) path += "../";
  for (size_t i = common; i < to.size(); ++i) path += (i > common ? "/" : "") + to[i];
  return path;
}

Json::Value FilmstripValue(const std::vector<FilmPicture>& pictures) {
  Json::Value list(Json::arrayValue);
  for (const FilmPicture& picture : pictures) {
    Json::Value element(Json::arrayValue);
    element.append(Json::Value(Json::Value::Int64{picture.output_us}));
    element.append("data:image/jpeg;base64," + Base64(picture.jpeg));
    list.append(element);
  }
  return list;
}

void Replace(const std::string& place, const std::string& with, std::string* text) {
  const size_t position = text->find(place);
  if (position != std::string::npos) text->replace(position, place.size(), with);
}

// The text must not end the script element that contains it. "<" occurs only in strings.
std::string ScriptSafe(std::string json) {
  std::string safe;
  safe.reserve(json.size());
  for (const char c : json) {
    if (c == '<') {
      safe += "\\u003c";
    } else {
      safe += c;
    }
  }
  return safe;
}

}  // namespace

bool VideoUrl(const std::string& video_path, const std::string& page_path, std::string* url,
              std::string* error) {
  ReadOnlyFile video;
  if (video.Open(video_path) != ReadOnlyFile::State::kOpen) {
    *error = video_path + ": " + video.error();
    return false;
  }
  if (video.size() <= kMaxEmbeddedVideo) {
    std::string bytes(static_cast<size_t>(video.size()), '\0');
    bytes.resize(video.Read(0, &bytes[0], bytes.size()));
    *url = "data:video/mp4;base64," + Base64(bytes);
    return true;
  }
  char target[PATH_MAX];
  char folder[PATH_MAX];
  if (::realpath(video_path.c_str(), target) == nullptr ||
      ::realpath(FolderOf(LinkTarget(page_path)).c_str(), folder) == nullptr) {
    *error = page_path + ": " + std::strerror(errno);
    return false;
  }
  *url = UrlPath(RelativePath(target, folder));
  return true;
}

std::string RenderReport(const RecordSummary& summary, const ReportContents& contents,
                         const ReportAssets& assets) {
  Json::Value document = ReportDocument(summary, contents.video_url);
  document["filmstrip"] = FilmstripValue(contents.pictures);
  document["speakers"] = PeopleValue(contents.speakers, summary.replay.start_us);
  if (contents.anonymous) MakeAnonymous(summary.folder, &document);
  std::string page = assets.page;
  Replace("{{style}}", assets.style, &page);
  Replace("{{script}}", assets.script, &page);
  Replace("{{data}}", ScriptSafe(JsonText(document)), &page);
  return page;
}

}  // namespace kxrtc_host
