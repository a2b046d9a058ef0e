// The command line of korvelctl and the command that it stands for. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "records/scan_progress.h"
#include "records/scan_scope.h"

namespace korvel::ctl {

enum class Action {
  kStatus,
  kPing,
  kScan,
  kListThreats,
  kQuarantineThreats,
  kDeleteThreats,
  kListQuarantine,
  kRestoreQuarantined,
  kDeleteQuarantined,
  kListConfig,
  kGetConfig,
  kFirewallStatus,
  kFirewallProfile,
  kFirewallInbound,
  kFirewallAddRule,
  kFirewallReset,
  kUpdateSignatures,
  kUpdateProgram,
  kShieldStatus,
  kReload,
  kCancel,
  kStop,
};

enum class ProgressStyle {
  kAuto,   ///< a bar on a console, nothing otherwise
  kBar,    ///< one line, rewritten in place
  kLines,  ///< a line every few seconds, for a log
  kNone,
};

struct Command {
  Action action = Action::kStatus;
  bool json = false;
  bool wait = true;  ///< for the end of an update
  bool all = false;  ///< also list files that are merely suspicious
  ScanScope scope = ScanScope::kQuick;
  std::vector<std::string> folders;  ///< of a custom scan; as given, UTF-8
  ProgressStyle progress = ProgressStyle::kAuto;
  std::vector<uint64_t> numbers;  ///< of threats, counted from 1, or quarantine ids
  std::string key;                ///< of the setting to show
  bool ownOnly = false;           ///< leave out firewall rules that this product has not made
  std::string firewallChange;     ///< the request's text; for a rule, without the program at its end
  std::string program;            ///< of a firewall rule; as given, UTF-8

  bool operator==(const Command&) const = default;
};

/// The lowest severity in a text list of threats: heuristics rate most ordinary programs as medium.
inline Severity leastListed(const Command& command) { return command.all ? kSeverityClean : kSeverityHigh; }

/// Help, the version, or a usage error.
struct Notice {
  int exitCode = 0;  ///< kExitNothingFound for help and version, kExitUsage otherwise
  std::string text;  ///< ends in LF
};

/// `arguments` are those after the program's name, UTF-8.
std::variant<Command, Notice> parseCommandLine(std::vector<std::string> arguments);

}  // namespace korvel::ctl
