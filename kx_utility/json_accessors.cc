#include "kx_utility/json_accessors.h"

#include <json/json.h>

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <sstream>

namespace kx_utility {
namespace {

// Applies one of the C library's number parsers. False unless the whole text is one number.
template <typename Number, typename Parse>
bool ParseWhole(const std::string& text, Number* number, Parse parse) {
  char* end = nullptr;
  errno = 0;
  *number = parse(text.c_str(), &end);
  return !text.empty() && end == text.c_str() + text.size() && errno == 0;
}

// One name for all element types, for the templates below.
bool FromJson(const Json::Value& value, Json::Value* out) {
  *out = value;
  return true;
}
bool FromJson(const Json::Value& value, int* out) { return GetIntFromJson(value, out); }
bool FromJson(const Json::Value& value, unsigned int* out) { return GetUIntFromJson(value, out); }
bool FromJson(const Json::Value& value, std::string* out) { return GetStringFromJson(value, out); }
bool FromJson(const Json::Value& value, bool* out) { return GetBoolFromJson(value, out); }
bool FromJson(const Json::Value& value, double* out) { return GetDoubleFromJson(value, out); }

template <typename X>
bool ArrayToVector(const Json::Value& array, std::vector<X>* out) {
  out->clear();
  if (!array.isArray()) return false;
  for (const Json::Value& element : array) {
    X item{};
    if (!FromJson(element, &item)) return false;
    out->push_back(std::move(item));
  }
  return true;
}

template <typename X>
Json::Value VectorToArray(const std::vector<X>& vector) {
  Json::Value array(Json::arrayValue);
  for (const auto& item : vector) array.append(Json::Value(item));
  return array;
}

template <typename X>
bool FromArray(const Json::Value& array, size_t index, X* out) {
  if (!array.isArray() || index >= array.size()) return false;
  return FromJson(array[static_cast<Json::ArrayIndex>(index)], out);
}

template <typename X>
bool FromObject(const Json::Value& object, const std::string& key, X* out) {
  if (!object.isObject() || !object.isMember(key)) return false;
  return FromJson(object[key], out);
}

}  // namespace

bool GetStringFromJson(const Json::Value& value, std::string* out) {
  switch (value.type()) {
    case Json::stringValue:
      *out = value.asString();
      return true;
    case Json::booleanValue:
      *out = value.asBool() ? "true" : "false";
      return true;
    case Json::intValue:
      *out = std::to_string(value.asLargestInt());
      return true;
    case Json::uintValue:
      *out = std::to_string(value.asLargestUInt());
      return true;
    case Json::realValue: {
      std::ostringstream text;
      text << value.asDouble();
      *out = text.str();
      return true;
    }
    default:
      return false;
  }
}

bool GetIntFromJson(const Json::Value& value, int* out) {
  if (value.isString()) {
    long number = 0;
    const bool is_whole = ParseWhole(value.asString(), &number, [](const char* text, char** end) {
      return std::strtol(text, end, 10);
    });
    *out = static_cast<int>(number);
    return is_whole && number >= std::numeric_limits<int>::min() &&
           number <= std::numeric_limits<int>::max();
  }
  if (!value.isConvertibleTo(Json::intValue)) return false;
  *out = value.asInt();
  return true;
}

bool GetUIntFromJson(const Json::Value& value, unsigned int* out) {
  if (value.isString()) {
    unsigned long number = 0;
    const bool is_whole = ParseWhole(value.asString(), &number, [](const char* text, char** end) {
      return std::strtoul(text, end, 10);
    });
    *out = static_cast<unsigned int>(number);
    return is_whole && number <= std::numeric_limits<unsigned int>::max();
  }
  if (!value.isConvertibleTo(Json::uintValue)) return false;
  *out = value.asUInt();
  return true;
}

bool GetBoolFromJson(const Json::Value& value, bool* out) {
  if (value.isString()) {
    const std::string text = value.asString();
    if (text != "true" && text != "false") return false;
    *out = text == "true";
    return true;
  }
  if (!value.isConvertibleTo(Json::booleanValue)) return false;
  *out = value.asBool();
  return true;
}

bool GetDoubleFromJson(const Json::Value& value, double* out) {
  if (value.isString()) return ParseWhole(value.asString(), out, std::strtod);
  if (!value.isConvertibleTo(Json::realValue)) return false;
  *out = value.asDouble();
  return true;
}

bool JsonArrayToValueVector(const Json::Value& array, std::vector<Json::Value>* out) {
  return ArrayToVector(array, out);
}
bool JsonArrayToIntVector(const Json::Value& array, std::vector<int>* out) {
  return ArrayToVector(array, out);
}
bool JsonArrayToUIntVector(const Json::Value& array, std::vector<unsigned int>* out) {
  return ArrayToVector(array, out);
}
bool JsonArrayToStringVector(const Json::Value& array, std::vector<std::string>* out) {
  return ArrayToVector(array, out);
}
bool JsonArrayToBoolVector(const Json::Value& array, std::vector<bool>* out) {
  return ArrayToVector(array, out);
}
bool JsonArrayToDoubleVector(const Json::Value& array, std::vector<double>* out) {
  return ArrayToVector(array, out);
}

Json::Value ValueVectorToJsonArray(const std::vector<Json::Value>& vector) {
  return VectorToArray(vector);
}
Json::Value IntVectorToJsonArray(const std::vector<int>& vector) { return VectorToArray(vector); }
Json::Value UIntVectorToJsonArray(const std::vector<unsigned int>& vector) {
  return VectorToArray(vector);
}
Json::Value StringVectorToJsonArray(const std::vector<std::string>& vector) {
  return VectorToArray(vector);
}
Json::Value BoolVectorToJsonArray(const std::vector<bool>& vector) { return VectorToArray(vector); }
Json::Value DoubleVectorToJsonArray(const std::vector<double>& vector) {
  return VectorToArray(vector);
}

bool GetValueFromJsonArray(const Json::Value& array, size_t index, Json::Value* out) {
  return FromArray(array, index, out);
}
bool GetIntFromJsonArray(const Json::Value& array, size_t index, int* out) {
  return FromArray(array, index, out);
}
bool GetUIntFromJsonArray(const Json::Value& array, size_t index, unsigned int* out) {
  return FromArray(array, index, out);
}
bool GetStringFromJsonArray(const Json::Value& array, size_t index, std::string* out) {
  return FromArray(array, index, out);
}
bool GetBoolFromJsonArray(const Json::Value& array, size_t index, bool* out) {
  return FromArray(array, index, out);
}
bool GetDoubleFromJsonArray(const Json::Value& array, size_t index, double* out) {
  return FromArray(array, index, out);
}

bool GetValueFromJsonObject(const Json::Value& object, const std::string& key, Json::Value* out) {
  return FromObject(object, key, out);
}
bool GetIntFromJsonObject(const Json::Value& object, const std::string& key, int* out) {
  return FromObject(object, key, out);
}
bool GetUIntFromJsonObject(const Json::Value& object, const std::string& key, unsigned int* out) {
  return FromObject(object, key, out);
}
bool GetStringFromJsonObject(const Json::Value& object, const std::string& key, std::string* out) {
  return FromObject(object, key, out);
}
bool GetBoolFromJsonObject(const Json::Value& object, const std::string& key, bool* out) {
  return FromObject(object, key, out);
}
bool GetDoubleFromJsonObject(const Json::Value& object, const std::string& key, double* out) {
  return FromObject(object, key, out);
}

std::string JsonValueToString(const Json::Value& value) {
  Json::FastWriter writer;
  writer.omitEndingLineFeed();
  return writer.write(value);
}

}  // namespace kx_utility
