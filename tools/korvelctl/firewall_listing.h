// The service's account of Windows Firewall: from its lines into records, and from those into what a person
// or a program reads. Pure and thread-safe.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::ctl {

struct FirewallProfileLine {
  std::string name;
  bool on = false;
};

/// One rule. The words are the service's: "allow" or "block"; "in", "out" or "both".
struct FirewallRuleLine {
  bool enabled = false;
  std::string action;
  std::string direction;
  std::string name;
  std::string application;

  /// Whether the rule was made by this product.
  bool own() const;
};

struct FirewallListing {
  std::vector<FirewallProfileLine> profiles;
  std::vector<FirewallRuleLine> rules;
  std::optional<bool> inboundBlocked;  ///< nothing when the firewall could not be asked at all
  std::vector<std::string> errors;     ///< what could not be read
};

/// Nothing for a text with a line of no known kind. Where a rule's name ends in a backslash the line does not
/// tell the name from the program behind it; both are then in the name.
std::optional<FirewallListing> parseFirewallListing(std::string_view text);

/// `ownOnly` leaves out the rules of others.
std::string renderFirewall(const FirewallListing& listing, bool ownOnly);
nlohmann::ordered_json firewallJson(const FirewallListing& listing, bool ownOnly);

}  // namespace korvel::ctl
