// The exit codes of korvelctl. Scripts depend on these numbers.
#pragma once

namespace korvel::ctl {

enum ExitCode : int {
  kExitNothingFound = 0,  ///< done; for a scan or a list of threats: nothing found
  kExitThreatsFound = 1,
  kExitRefused = 2,      ///< the service refused the request or could not carry it out
  kExitUnreachable = 3,  ///< no service answers on the pipe
  kExitProtocol = 4,     ///< the exchange broke off or the reply was not understood
  kExitUsage = 64,
};

}  // namespace korvel::ctl
