#include "korvelctl/cli/exit_codes.h"

#include <algorithm>
#include <iterator>

namespace korvel::ctl {

int weightierExit(int a, int b) {
  static constexpr int kOrder[] = {kExitInternal, kExitUsage,   kExitFound,      kExitUnreachable,
                                   kExitProtocol, kExitRefused, kExitIncomplete, kExitDone};
  const auto place = [](int code) { return std::find(std::begin(kOrder), std::end(kOrder), code); };
  return place(a) < place(b) ? a : b;
}

}  // namespace korvel::ctl
