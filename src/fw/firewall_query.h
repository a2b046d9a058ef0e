// Queries the profiles and application rules of Windows Firewall.
#pragma once

#include <string>

#include "base/stop.h"

namespace korvel::fw {

/// The firewall's state in the text format of firewall_text.h. Never fails: anything that cannot be read
/// becomes an error line, and if the firewall cannot be accessed at all, the text is that error alone.
/// A stop ends the list of the rules early; nobody reads that text any more. Thread-safe: each call uses its
/// own COM objects.
std::string queryFirewallStatus(const StopToken& stop = {});

}  // namespace korvel::fw
