// Finds the word that somebody most likely meant. Pure and thread-safe.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace korvel::ctl {

/// The one of `known` that is closest to `word`, letters in any case; empty when none is close. A word that
/// begins like `word` is close; so is one that differs in a third of its letters, two neighbours in the wrong
/// order being one difference.
std::string closestWord(std::string_view word, const std::vector<std::string>& known);

}  // namespace korvel::ctl
