// The file of `firewall export`: the product's own rules and the firewall's switches, so that another machine
// can be given the same. Pure and thread-safe.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "korvelctl/cli/text.h"
#include "korvelctl/model/firewall_listing.h"

namespace korvel::ctl {

/// One program's traffic, as the service takes it.
struct FirewallProgramRule {
  std::string action;     ///< "block" or "allow"
  std::string direction;  ///< "in", "out" or "both"
  std::string program;    ///< absolute path, UTF-8

  bool operator==(const FirewallProgramRule&) const = default;
  /// The text of the request that makes the rule.
  std::string request() const { return action + "|" + direction + "|" + program; }
};

struct FirewallFile {
  std::optional<bool> inboundBlocked;
  std::vector<FirewallProgramRule> rules;  ///< in the order of the listing

  bool operator==(const FirewallFile&) const = default;
};

/// The own rules of a listing. A rule for both directions, which the service makes as two, is one here. Rules
/// that somebody has switched off are left out, since the service cannot make such; `leftOut` counts them.
FirewallFile firewallFileOf(const FirewallListing& listing, size_t& leftOut);

/// JSON of the schema korvel.firewall-rules/1, two blanks of indent, ends in LF.
std::string formatFirewallFile(const FirewallFile& file);

/// The file, or nothing with a sentence in `error`. Every field is checked before anything is accepted:
/// unknown words, relative paths and members that this version does not know are errors.
std::optional<FirewallFile> parseFirewallFile(std::string_view text, Language language, std::string* error);

}  // namespace korvel::ctl
