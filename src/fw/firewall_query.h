// Asks Windows Firewall for its profiles and application rules.
#pragma once

#include <string>

namespace korvel::fw {

/// The firewall's state as the text of firewall_text.h. Never fails: what could not be read
/// becomes an error line, and a firewall that cannot be asked at all an error without anything else.
/// Thread-safe: each call uses COM objects of its own.
std::string queryFirewallStatus();

}  // namespace korvel::fw
