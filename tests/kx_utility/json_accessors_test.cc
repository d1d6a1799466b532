#include "kx_utility/json_accessors.h"

#include <gmock/gmock.h>
#include <json/json.h>

#include <sstream>

namespace kx_utility {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

Json::Value Parse(const std::string& text) {
  std::istringstream stream(text);
  Json::Value value;
  stream >> value;
  return value;
}

// What each scalar accessor makes of a value; "-" where it refuses.
struct ScalarCase {
  const char* name;
  const char* json;
  const char* as_string;
  const char* as_int;
  const char* as_uint;
  const char* as_bool;
  const char* as_double;
};

template <typename X, typename Get>
std::string Got(Get get, const Json::Value& value) {
  X out{};
  if (!get(value, &out)) return "-";
  std::ostringstream text;
  text << std::boolalpha << out;
  return text.str();
}

class ScalarTest : public ::testing::TestWithParam<ScalarCase> {};

TEST_P(ScalarTest, Converts) {
  const Json::Value value = Parse(GetParam().json);
  EXPECT_EQ(GetParam().as_string, Got<std::string>(GetStringFromJson, value));
  EXPECT_EQ(GetParam().as_int, Got<int>(GetIntFromJson, value));
  EXPECT_EQ(GetParam().as_uint, Got<unsigned int>(GetUIntFromJson, value));
  EXPECT_EQ(GetParam().as_bool, Got<bool>(GetBoolFromJson, value));
  EXPECT_EQ(GetParam().as_double, Got<double>(GetDoubleFromJson, value));
}

INSTANTIATE_TEST_SUITE_P(
    Values, ScalarTest,
    ::testing::Values(ScalarCase{"Int", "-7", "-7", "-7", "-", "true", "-7"},
                      ScalarCase{"Zero", "0", "0", "0", "0", "false", "0"},
                      ScalarCase{"UIntBeyondInt", "2147483648", "2147483648", "-", "2147483648",
                                 "true", "2.14748e+09"},
                      ScalarCase{"BeyondUInt", "4294967296", "4294967296", "-", "-", "true",
                                 "4.29497e+09"},
                      ScalarCase{"UInt64", "18446744073709551615", "18446744073709551615", "-", "-",
                                 "true", "1.84467e+19"},
                      ScalarCase{"WholeReal", "7.0", "7", "7", "7", "true", "7"},
                      ScalarCase{"Real", "-0.1234567", "-0.123457", "0", "-", "true", "-0.123457"},
                      ScalarCase{"HugeReal", "1e300", "1e+300", "-", "-", "true", "1e+300"},
                      ScalarCase{"True", "true", "true", "1", "1", "true", "1"},
                      ScalarCase{"False", "false", "false", "0", "0", "false", "0"},
                      ScalarCase{"Null", "null", "-", "0", "0", "false", "0"},
                      ScalarCase{"Array", "[1]", "-", "-", "-", "-", "-"},
                      ScalarCase{"Object", "{\"a\":1}", "-", "-", "-", "-", "-"},
                      ScalarCase{"EmptyString", "\"\"", "", "-", "-", "-", "-"},
                      ScalarCase{"NumberInAString", "\"12\"", "12", "12", "12", "-", "12"},
                      ScalarCase{"NegativeInAString", "\"-12\"", "-12", "-12", "-", "-", "-12"},
                      ScalarCase{"TrailingLetter", "\"12x\"", "12x", "-", "-", "-", "-"},
                      ScalarCase{"BeyondIntInAString", "\"2147483648\"", "2147483648", "-",
                                 "2147483648", "-", "2.14748e+09"},
                      ScalarCase{"LowestIntInAString", "\"-2147483648\"", "-2147483648",
                                 "-2147483648", "-", "-", "-2.14748e+09"},
                      ScalarCase{"BeyondUIntInAString", "\"4294967296\"", "4294967296", "-", "-",
                                 "-", "4.29497e+09"},
                      ScalarCase{"BeyondAllInAString", "\"99999999999999999999\"",
                                 "99999999999999999999", "-", "-", "-", "1e+20"},
                      ScalarCase{"RealInAString", "\"0.5\"", "0.5", "-", "-", "-", "0.5"},
                      ScalarCase{"RangeErrorInAString", "\"1e999\"", "1e999", "-", "-", "-", "-"},
                      ScalarCase{"TrueInAString", "\"true\"", "true", "-", "-", "true", "-"},
                      ScalarCase{"FalseInAString", "\"false\"", "false", "-", "-", "false", "-"},
                      ScalarCase{"CapitalTrueInAString", "\"True\"", "True", "-", "-", "-", "-"}),
    [](const auto& param_info) { return param_info.param.name; });

TEST(JsonAccessorsTest, ZeroByteInAStringIsNoPartOfANumber) {
  int number = 0;
  EXPECT_FALSE(GetIntFromJson(Json::Value(std::string("12\0", 3)), &number));
}

TEST(JsonAccessorsTest, WritesTheOutputOfARefusedStringButOfNoOtherValue) {
  int number = 5;
  EXPECT_FALSE(GetIntFromJson(Json::Value("12x"), &number));
  EXPECT_EQ(12, number);
  EXPECT_FALSE(GetIntFromJson(Json::Value(Json::arrayValue), &number));
  EXPECT_EQ(12, number);
  bool flag = true;
  EXPECT_FALSE(GetBoolFromJson(Json::Value("nonsense"), &flag));
  EXPECT_TRUE(flag);
}

TEST(JsonAccessorsTest, StopsAnArrayAtTheFirstElementThatDoesNotConvert) {
  std::vector<int> numbers = {9, 9, 9};
  EXPECT_FALSE(JsonArrayToIntVector(Parse("[1, \"2\", \"x\", 4]"), &numbers));
  EXPECT_THAT(numbers, ElementsAre(1, 2));
}

TEST(JsonAccessorsTest, ConvertsWholeArrays) {
  std::vector<Json::Value> values;
  std::vector<int> ints;
  std::vector<unsigned int> uints;
  std::vector<std::string> strings;
  std::vector<bool> bools;
  std::vector<double> doubles;
  EXPECT_TRUE(JsonArrayToValueVector(Parse("[null, [1]]"), &values));
  EXPECT_THAT(values, ElementsAre(Json::Value(), Parse("[1]")));
  EXPECT_TRUE(JsonArrayToIntVector(Parse("[-1, 2]"), &ints));
  EXPECT_THAT(ints, ElementsAre(-1, 2));
  EXPECT_TRUE(JsonArrayToUIntVector(Parse("[1, 4294967295]"), &uints));
  EXPECT_THAT(uints, ElementsAre(1u, 4294967295u));
  EXPECT_TRUE(JsonArrayToStringVector(Parse("[\"a\", 2]"), &strings));
  EXPECT_THAT(strings, ElementsAre("a", "2"));
  EXPECT_TRUE(JsonArrayToBoolVector(Parse("[true, 0]"), &bools));
  EXPECT_THAT(bools, ElementsAre(true, false));
  EXPECT_TRUE(JsonArrayToDoubleVector(Parse("[0.5, \"1.5\"]"), &doubles));
  EXPECT_THAT(doubles, ElementsAre(0.5, 1.5));
}

TEST(JsonAccessorsTest, EmptyArrayConvertsAndOtherValuesOnlyClearTheVector) {
  std::vector<int> numbers = {9};
  EXPECT_TRUE(JsonArrayToIntVector(Parse("[]"), &numbers));
  EXPECT_THAT(numbers, IsEmpty());
  for (const char* json : {"null", "{}", "1", "\"[]\""}) {
    numbers = {9};
    EXPECT_FALSE(JsonArrayToIntVector(Parse(json), &numbers)) << json;
    EXPECT_THAT(numbers, IsEmpty());
  }
}

TEST(JsonAccessorsTest, MakesArraysOfVectors) {
  EXPECT_EQ("[1,[2]]", JsonValueToString(ValueVectorToJsonArray({1, Parse("[2]")})));
  EXPECT_EQ("[-1,2]", JsonValueToString(IntVectorToJsonArray({-1, 2})));
  EXPECT_EQ("[4294967295]", JsonValueToString(UIntVectorToJsonArray({4294967295u})));
  EXPECT_EQ("[\"a\"]", JsonValueToString(StringVectorToJsonArray({"a"})));
  EXPECT_EQ("[true,false]", JsonValueToString(BoolVectorToJsonArray({true, false})));
  EXPECT_EQ("[0.5]", JsonValueToString(DoubleVectorToJsonArray({0.5})));
  EXPECT_EQ("[]", JsonValueToString(IntVectorToJsonArray({})));
}

TEST(JsonAccessorsTest, TakesOneElement) {
  const Json::Value array = Parse("[7, \"x\", true, 0.5, null]");
  Json::Value value;
  int number = 0;
  unsigned int positive = 0;
  std::string text;
  bool flag = false;
  double real = 0;
  EXPECT_TRUE(GetValueFromJsonArray(array, 4, &value));
  EXPECT_TRUE(GetIntFromJsonArray(array, 0, &number));
  EXPECT_TRUE(GetUIntFromJsonArray(array, 0, &positive));
  EXPECT_TRUE(GetStringFromJsonArray(array, 1, &text));
  EXPECT_TRUE(GetBoolFromJsonArray(array, 2, &flag));
  EXPECT_TRUE(GetDoubleFromJsonArray(array, 3, &real));
  EXPECT_TRUE(value.isNull());
  EXPECT_EQ(7, number);
  EXPECT_EQ(7u, positive);
  EXPECT_EQ("x", text);
  EXPECT_TRUE(flag);
  EXPECT_EQ(0.5, real);
  EXPECT_FALSE(GetIntFromJsonArray(array, 1, &number));
  EXPECT_FALSE(GetIntFromJsonArray(array, 5, &number));
  EXPECT_FALSE(GetIntFromJsonArray(array, size_t{1} << 32, &number));
  EXPECT_FALSE(GetIntFromJsonArray(Parse("{}"), 0, &number));
}

TEST(JsonAccessorsTest, TakesOneMember) {
  const Json::Value object = Parse(R"({"i": 7, "s": "x", "b": true, "d": 0.5, "n": null})");
  Json::Value value(1);
  int number = 0;
  unsigned int positive = 0;
  std::string text;
  bool flag = false;
  double real = 0;
  EXPECT_TRUE(GetValueFromJsonObject(object, "n", &value));
  EXPECT_TRUE(GetIntFromJsonObject(object, "i", &number));
  EXPECT_TRUE(GetUIntFromJsonObject(object, "i", &positive));
  EXPECT_TRUE(GetStringFromJsonObject(object, "s", &text));
  EXPECT_TRUE(GetBoolFromJsonObject(object, "b", &flag));
  EXPECT_TRUE(GetDoubleFromJsonObject(object, "d", &real));
  EXPECT_TRUE(value.isNull());
  EXPECT_EQ(7, number);
  EXPECT_EQ(7u, positive);
  EXPECT_EQ("x", text);
  EXPECT_TRUE(flag);
  EXPECT_EQ(0.5, real);
  EXPECT_FALSE(GetIntFromJsonObject(object, "s", &number));
  EXPECT_FALSE(GetIntFromJsonObject(object, "missing", &number));
  EXPECT_FALSE(GetIntFromJsonObject(Parse("[]"), "i", &number));
  EXPECT_FALSE(GetIntFromJsonObject(Json::Value(), "i", &number));
}

TEST(JsonAccessorsTest, PrintsOnOneLine) {
  EXPECT_EQ(R"({"a":[1,"b\n"],"c":null})", JsonValueToString(Parse(R"({"c":null,"a":[1,"b\n"]})")));
}

}  // namespace
}  // namespace kx_utility
