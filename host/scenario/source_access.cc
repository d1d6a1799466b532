#include "host/scenario/source_access.h"

#include <sstream>

namespace kxrtc_host {
namespace {

// Formats that contain their media and name no others.
constexpr char kPlainFormats[] =
    "aac,ac3,aiff,amr,asf,au,avi,caf,eac3,flac,flv,h264,hevc,ivf,live_flv,loas,m4v,matroska,mov,"
    "mp3,"
    "mpeg,mpegts,mpegvideo,mxf,nut,ogg,tta,w64,wav,wv";
constexpr char kWebProtocols[] = "http,https,tcp,tls,httpproxy";
constexpr char kFileScheme[] = "file:";

using Way = SourceAccess::Way;

struct Scheme {
  const char* name;
  Way way;
  const char* protocols;
  const char* format;  // Empty: detected.
};

constexpr Scheme kSchemes[] = {
    {"http", Way::kStream, kWebProtocols, ""},
    {"https", Way::kStream, kWebProtocols, ""},
    {"rtmp", Way::kStream, "rtmp,tcp", ""},
    {"rtmps", Way::kStream, "rtmps,tls,tcp", ""},
    {"rtp", Way::kDemuxer, "rtp,udp", "rtp"},
    {"rtsp", Way::kDemuxer, "rtp,udp,tcp", "rtsp"},
    {"rtsps", Way::kDemuxer, "rtp,udp,tls,tcp", "rtsp"},
    {"srt", Way::kStream, "srt", ""},
    {"tcp", Way::kStream, "tcp", ""},
    {"tls", Way::kStream, "tls,tcp", ""},
    {"udp", Way::kStream, "udp", ""},
};

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool IsFileAddress(const std::string& source) { return source.rfind(kFileScheme, 0) == 0; }

bool IsSessionDescription(const std::string& source) { return EndsWith(source, ".sdp"); }

bool IsPlaylist(const std::string& format) { return format == "hls" || format == "dash"; }

bool FindLocalAccess(const MediaSpec& media, SourceAccess* access) {
  access->way = Way::kLocal;
  access->format = media.format;
  if (media.format.empty() && IsSessionDescription(media.source)) access->format = "sdp";
  if (access->format == "sdp") access->protocols = "rtp,udp";
  return true;
}

bool FindRemoteAccess(const MediaSpec& media, const Scheme& scheme, SourceAccess* access,
                      std::string* error) {
  access->way = scheme.way;
  access->protocols = scheme.protocols;
  access->format = media.format;
  if (*scheme.format != '\0') {
    access->format = scheme.format;
    if (media.format.empty() || media.format == scheme.format) return true;
    *error = std::string("is read as ") + scheme.format + "; leave out \"format\"";
    return false;
  }
  access->formats = kPlainFormats;
  if (IsPlaylist(media.format)) {
    access->way = Way::kDemuxer;
    access->formats += "," + media.format;
  }
  return true;
}

}  // namespace

bool IsAddress(const std::string& source) {
  const size_t colon = source.find(':');
  return colon != std::string::npos && colon > 1 && source.find('/') > colon;
}

bool IsLiveByDefault(const std::string& source) {
  if (IsSessionDescription(source)) return true;
  return IsAddress(source) && !IsFileAddress(source);
}

bool IsPlainFormat(const std::string& format) {
  const std::string plain = std::string(",") + kPlainFormats + ",";
  std::istringstream names(format);
  for (std::string name; std::getline(names, name, ',');) {
    if (plain.find("," + name + ",") != std::string::npos) return true;
  }
  return false;
}

std::string LocalPath(const std::string& source) {
  return IsFileAddress(source) ? source.substr(sizeof(kFileScheme) - 1) : source;
}

bool FindSourceAccess(const MediaSpec& media, SourceAccess* access, std::string* error) {
  *access = SourceAccess();
  const bool local = !IsAddress(media.source) || IsFileAddress(media.source);
  const std::string name = local ? "" : media.source.substr(0, media.source.find(':'));
  if (IsPlaylist(media.format) && name != "http" && name != "https") {
    *error = "a playlist is followed only at an http or https address";
    return false;
  }
  if (local) return FindLocalAccess(media, access);
  std::string known;
  for (const Scheme& scheme : kSchemes) {
    if (name == scheme.name) return FindRemoteAccess(media, scheme, access, error);
    known += std::string(", ") + scheme.name;
  }
  *error = "\"" + name + ":\" cannot be recorded; use a path or one of file" + known;
  return false;
}

}  // namespace kxrtc_host
