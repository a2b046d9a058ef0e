// The exit codes of korvelctl. Scripts depend on these numbers.
#pragma once

namespace korvel::ctl {

enum ExitCode : int {
  kExitDone = 0,         ///< done; for a scan or a check: examined, and nothing found
  kExitFound = 1,        ///< threats found; for checks of the product itself: findings
  kExitRefused = 2,      ///< the service refused the request, or the operation failed
  kExitUnreachable = 3,  ///< no service answers on the pipe
  kExitProtocol = 4,     ///< the exchange broke off, or the reply was not understood
  kExitIncomplete = 5,   ///< the scan did not complete, or examined nothing, and found nothing so far
  kExitUsage = 64,       ///< wrong usage; a question without a terminal
  kExitInternal = 70,    ///< a bug of this program
};

/// The one that a command ends with when both apply: a threat that was found outranks what went wrong
/// besides, so that scripts never miss it.
int weightierExit(int a, int b);

}  // namespace korvel::ctl
