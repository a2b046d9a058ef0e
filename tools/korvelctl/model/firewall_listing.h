// The service's reply about Windows Firewall. Pure and thread-safe.
#pragma once

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
  std::optional<bool> inboundBlocked;  ///< empty when the firewall could not be accessed at all
  std::vector<std::string> errors;     ///< one text per failed read
};

/// std::nullopt when a line is of an unknown kind. If a rule's name ends in a backslash, the comma after it
/// looks escaped; the name then includes the program.
std::optional<FirewallListing> parseFirewallListing(std::string_view text);

}  // namespace korvel::ctl
