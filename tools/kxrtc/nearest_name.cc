#include "tools/kxrtc/nearest_name.h"

#include <algorithm>

namespace kxrtc_tool {
namespace {

// Nobody mistypes a longer name, and what is compared stays small.
constexpr size_t kLongestName = 40;

// How many letters were added, left out, replaced or swapped with the next one.
size_t Typos(const std::string& a, const std::string& b) {
  std::vector<std::vector<size_t>> typos(a.size() + 1, std::vector<size_t>(b.size() + 1));
  for (size_t i = 0; i <= a.size(); ++i) {
    for (size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        typos[i][j] = i + j;
        continue;
      }
      const size_t replaced = typos[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      typos[i][j] = std::min({typos[i - 1][j] + 1, typos[i][j - 1] + 1, replaced});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) typos[i][j] = std::min(typos[i][j], typos[i - 2][j - 2] + 1);
    }
  }
  return typos[a.size()][b.size()];
}

size_t Length(const std::string& name) {
  return name.size() - std::min(name.find_first_not_of('-'), name.size());
}

}  // namespace

std::string NearestName(const std::string& typed, const std::vector<std::string>& names) {
  if (typed.size() > kLongestName) return "";
  constexpr size_t kShort = 4;
  size_t most = Length(typed) <= kShort ? 1 : 2;
  std::string nearest;
  for (const std::string& name : names) {
    if (Length(name) <= 1) continue;  // One letter is near to each other.
    const size_t typos = Typos(typed, name);
    if (typos > most || (typos == most && !nearest.empty())) continue;
    nearest = name;
    most = typos;
  }
  return nearest;
}

std::string DidYouMean(const std::string& typed, const std::vector<std::string>& names) {
  const std::string nearest = NearestName(typed, names);
  return nearest.empty() ? "" : "; did you mean " + nearest + "?";
}

std::string Listed(const std::vector<std::string>& names) {
  std::string list;
  for (size_t i = 0; i < names.size(); ++i) {
    if (i > 0) list += i + 1 == names.size() ? " or " : ", ";
    list += names[i];
  }
  return list;
}

}  // namespace kxrtc_tool
