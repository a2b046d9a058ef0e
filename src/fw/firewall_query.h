// Queries the profiles and application rules of Windows Firewall.
#pragma once

#include <string>

namespace korvel::fw {

/// The firewall's state in the text format of firewall_text.h. Never fails: anything that cannot be read
/// becomes an error line, and if the firewall cannot be accessed at all, the text is that error alone.
/// Thread-safe: each call uses its own COM objects.
std::string queryFirewallStatus();

}  // namespace korvel::fw
