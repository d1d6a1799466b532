// Tolerant conversions between jsoncpp values and plain values.
// Threads: any; the values must not change during a call. Nothing is thrown.
#ifndef KX_UTILITY_JSON_ACCESSORS_H_
#define KX_UTILITY_JSON_ACCESSORS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "kx_utility/export.h"

namespace Json {
class Value;
}

namespace kx_utility {

// Scalars. True when `value` converts; the result goes to the second argument.
// A string converts to a number when the whole of it is one, by the C library's strtol, strtoul
// (base 10) and strtod, in the range of the target; the output is then written even when the result
// is false. For any other value, and for bool, it is written on success only.

// The string itself, "true" or "false", or the number in decimal (reals with 6 significant digits).
KX_EXPORT bool GetStringFromJson(const Json::Value& value, std::string* out);
KX_EXPORT bool GetIntFromJson(const Json::Value& value, int* out);
KX_EXPORT bool GetUIntFromJson(const Json::Value& value, unsigned int* out);
// Of strings only "true" and "false".
KX_EXPORT bool GetBoolFromJson(const Json::Value& value, bool* out);
KX_EXPORT bool GetDoubleFromJson(const Json::Value& value, double* out);

// Whole arrays. The vector is cleared first. False when `array` is none, or at the first element
// that does not convert: those before it are kept.
KX_EXPORT bool JsonArrayToValueVector(const Json::Value& array, std::vector<Json::Value>* out);
KX_EXPORT bool JsonArrayToIntVector(const Json::Value& array, std::vector<int>* out);
KX_EXPORT bool JsonArrayToUIntVector(const Json::Value& array, std::vector<unsigned int>* out);
KX_EXPORT bool JsonArrayToStringVector(const Json::Value& array, std::vector<std::string>* out);
KX_EXPORT bool JsonArrayToBoolVector(const Json::Value& array, std::vector<bool>* out);
KX_EXPORT bool JsonArrayToDoubleVector(const Json::Value& array, std::vector<double>* out);

// The elements in order; an empty vector gives an empty array.
KX_EXPORT Json::Value ValueVectorToJsonArray(const std::vector<Json::Value>& vector);
KX_EXPORT Json::Value IntVectorToJsonArray(const std::vector<int>& vector);
KX_EXPORT Json::Value UIntVectorToJsonArray(const std::vector<unsigned int>& vector);
KX_EXPORT Json::Value StringVectorToJsonArray(const std::vector<std::string>& vector);
KX_EXPORT Json::Value BoolVectorToJsonArray(const std::vector<bool>& vector);
KX_EXPORT Json::Value DoubleVectorToJsonArray(const std::vector<double>& vector);

// One element. False when `array` is none or has no such element; else the scalar's result.
KX_EXPORT bool GetValueFromJsonArray(const Json::Value& array, size_t index, Json::Value* out);
KX_EXPORT bool GetIntFromJsonArray(const Json::Value& array, size_t index, int* out);
KX_EXPORT bool GetUIntFromJsonArray(const Json::Value& array, size_t index, unsigned int* out);
KX_EXPORT bool GetStringFromJsonArray(const Json::Value& array, size_t index, std::string* out);
KX_EXPORT bool GetBoolFromJsonArray(const Json::Value& array, size_t index, bool* out);
KX_EXPORT bool GetDoubleFromJsonArray(const Json::Value& array, size_t index, double* out);

// One member. False when `object` is none or has no such member; else the scalar's result.
KX_EXPORT bool GetValueFromJsonObject(const Json::Value& object, const std::string& key,
                                      Json::Value* out);
KX_EXPORT bool GetIntFromJsonObject(const Json::Value& object, const std::string& key, int* out);
KX_EXPORT bool GetUIntFromJsonObject(const Json::Value& object, const std::string& key,
                                     unsigned int* out);
KX_EXPORT bool GetStringFromJsonObject(const Json::Value& object, const std::string& key,
                                       std::string* out);
KX_EXPORT bool GetBoolFromJsonObject(const Json::Value& object, const std::string& key, bool* out);
KX_EXPORT bool GetDoubleFromJsonObject(const Json::Value& object, const std::string& key,
                                       double* out);

// Compact text on one line, without a newline at its end.
KX_EXPORT std::string JsonValueToString(const Json::Value& value);

}  // namespace kx_utility

#endif  // KX_UTILITY_JSON_ACCESSORS_H_
