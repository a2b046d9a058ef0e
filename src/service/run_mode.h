// Which of the five run modes a command line asks for. Pure and thread-safe.
#pragma once

#include <string_view>

namespace korvel {

enum class RunMode { kPingClient, kUpdateCheckClient, kFirewallClient, kConsole, kService };

struct CommandLine {
  RunMode mode = RunMode::kService;
  bool wantsConsole = false;  ///< at least one flag is present
};

/// `tail` is the command line without the program. Flags are found as plain substrings anywhere in it, so
/// "--pinger" counts as "--ping" on purpose; the precedence is ping, update check, firewall, console.
CommandLine parseCommandLine(std::wstring_view tail);

}  // namespace korvel
