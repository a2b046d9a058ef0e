// What each exit code of korvelctl means, as the documents say it: a test holds them to this table, and the
// end-to-end tests see every code but the last.
#pragma once

#include <string_view>

namespace korvel::test {

struct ExitMeaning {
  int code;
  std::string_view text;  ///< Markdown
};

inline constexpr ExitMeaning kExitMeanings[] = {
    {0, "done; for a scan or a check: examined, and nothing at or above `--fail-on` (high)"},
    {1, "threats found; for checks of the product itself: findings"},
    {2, "the service refused, the operation failed, or this client refused for safety"},
    {3, "the service cannot be reached"},
    {4, "the exchange broke off, or the reply was not understood"},
    {5, "the scan did not complete, or examined nothing, and found nothing so far"},
    {64, "wrong usage, or a question without a terminal"},
    {70, "a bug of korvelctl"},
};

}  // namespace korvel::test
