#include "kx_utility/string_tokenize.h"

#include <locale>
#include <regex>

#include "kx_utility/failure_log.h"

namespace kx_utility {

std::vector<std::string> StringTokenize(const std::string& text, const std::string& delimiter) {
  constexpr int kBetweenMatches = -1;
  try {
    // The process's table of characters is filled as expressions are compiled, without a lock; a
    // table of its own for each call keeps threads apart.
    std::regex expression;
    expression.imbue(std::locale(std::locale(), new std::ctype<char>));
    expression.assign(delimiter, std::regex::ECMAScript);
    return {std::sregex_token_iterator(text.begin(), text.end(), expression, kBetweenMatches),
            std::sregex_token_iterator()};
  } catch (const std::regex_error&) {
    (void)FailedIn("std::regex");
    return {};
  }
}

}  // namespace kx_utility
