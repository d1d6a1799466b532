// Options whose values have names.
#ifndef TOOLS_KXRTC_NAMED_VALUES_H_
#define TOOLS_KXRTC_NAMED_VALUES_H_

#include <CLI/CLI.hpp>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "tools/kxrtc/nearest_name.h"

namespace kxrtc_tool {

// Accepts these names only. What is shown of them in the help: "copy|encode".
inline CLI::Validator OneOf(const std::vector<std::string>& names) {
  return CLI::Validator(
      [names](const std::string& text) -> std::string {
        for (const std::string& name : names) {
          if (name == text) return "";
        }
        return "there is no " + text + "; it takes " + Listed(names);
      },
      CLI::detail::join(names, "|"));
}

// The same for an option that is an enumeration.
template <typename Value>
CLI::Validator NamedValues(const std::map<std::string, Value>& values) {
  std::vector<std::string> names;
  for (const auto& [name, value] : values) names.push_back(name);
  const CLI::Validator is_name = OneOf(names);
  return CLI::Validator(
      [values, is_name](std::string& text) {
        const std::string problem = is_name(text);
        if (problem.empty()) {
          using Number = std::underlying_type_t<Value>;
          text = std::to_string(static_cast<Number>(values.at(text)));
        }
        return problem;
      },
      CLI::detail::join(names, "|"));
}

}  // namespace kxrtc_tool

#endif  // TOOLS_KXRTC_NAMED_VALUES_H_
