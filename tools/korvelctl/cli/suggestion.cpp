#include "korvelctl/cli/suggestion.h"

#include <algorithm>

#include "base/text.h"

namespace korvel::ctl {
namespace {

/// Longer words are nobody's slip of the finger, and the table below grows with them.
constexpr size_t kLongestWord = 64;

size_t differences(std::string_view a, std::string_view b) {
  const size_t width = b.size() + 1;
  std::vector<size_t> table((a.size() + 1) * width);
  const auto at = [&](size_t i, size_t j) -> size_t& { return table[i * width + j]; };
  for (size_t i = 0; i <= a.size(); ++i) at(i, 0) = i;
  for (size_t j = 0; j <= b.size(); ++j) at(0, j) = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t change = at(i - 1, j - 1) + (a[i - 1] == b[j - 1] ? 0 : 1);
      size_t best = std::min({at(i - 1, j) + 1, at(i, j - 1) + 1, change});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) best = std::min(best, at(i - 2, j - 2) + 1);
      at(i, j) = best;
    }
  }
  return at(a.size(), b.size());
}

}  // namespace

std::string closestWord(std::string_view word, const std::vector<std::string>& known) {
  const std::string typed = lowerAscii(word);
  if (typed.empty() || typed.size() > kLongestWord) return {};
  const std::string* closest = nullptr;
  size_t least = 0;
  for (const std::string& candidate : known) {
    const std::string name = lowerAscii(candidate);
    const size_t distance = typed.size() >= 2 && name.starts_with(typed) ? 0 : differences(typed, name);
    if (3 * distance > std::max(name.size(), typed.size())) continue;
    if (closest != nullptr && distance >= least) continue;
    closest = &candidate;
    least = distance;
  }
  return closest == nullptr ? std::string() : *closest;
}

}  // namespace korvel::ctl
