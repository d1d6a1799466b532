#include "host/result/parsed_json.h"

#include <json/reader.h>

#include <memory>

namespace kxrtc_host {

Json::Value ParsedJson(const std::string& text) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value value;
  try {
    if (!reader->parse(text.data(), text.data() + text.size(), &value, nullptr)) return {};
  } catch (const Json::Exception&) {  // Nested too deep.
    return {};
  }
  return value;
}

}  // namespace kxrtc_host
