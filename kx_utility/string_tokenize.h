// Cuts text at the matches of a regular expression.
// Threads: any.
#ifndef KX_UTILITY_STRING_TOKENIZE_H_
#define KX_UTILITY_STRING_TOKENIZE_H_

#include <string>
#include <vector>

#include "kx_utility/export.h"

namespace kx_utility {

// The pieces of `text` between the matches of `delimiter` (ECMAScript grammar), in order. Empty
// pieces between adjacent matches and before a leading match are kept; nothing follows a trailing
// match. Classes such as \w are those of ASCII. A `delimiter` that is not a regular expression
// is logged (LS_ERROR "failed in std::regex") and gives no pieces.
KX_EXPORT std::vector<std::string> StringTokenize(const std::string& text,
                                                  const std::string& delimiter);

}  // namespace kx_utility

#endif  // KX_UTILITY_STRING_TOKENIZE_H_
