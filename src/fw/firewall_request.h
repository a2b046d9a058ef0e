// Parses the text argument of firewall requests and builds the rules that they ask for.
//
// On failure, parsers return false with a sentence for the user in `error` (may be null) and leave the result
// unchanged. Texts are UTF-8. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::fw {

/// A firewall rule to be created. Empty texts are not set on the rule. The numbers are the API's.
struct RuleDescription {
  std::string name;
  std::string description;
  std::string application;  // full path; empty applies to every program
  int32_t action = 0;       // NET_FW_ACTION: 0 blocks, 1 allows
  int32_t direction = 0;    // NET_FW_RULE_DIRECTION: 1 in, 2 out
  int32_t profiles = 0;     // sum of NET_FW_PROFILE_TYPE2 values
};

struct ProfileRequest {
  int32_t type = 0;  // NET_FW_PROFILE_TYPE2
  bool enable = false;
};
/// "<profile>,<value>": the profile's name, case-insensitive, then "1" or "0".
bool parseProfileRequest(std::string_view request, ProfileRequest& parsed, std::string* error);

struct ApplicationRequest {
  int32_t action = 0;
  bool inbound = false;
  bool outbound = false;
  std::string path;  // never empty; may contain '|'
};
/// "<action>|<direction>|<path>": "block" or "allow", then "in", "out" or "both"; both case-insensitive.
bool parseApplicationRequest(std::string_view request, ApplicationRequest& parsed, std::string* error);

/// "1" blocks all inbound traffic, "0" lets it in again.
bool parseBlockInboundRequest(std::string_view request, bool& block, std::string* error);

/// One rule for each direction asked for, inbound first, named after the file-name part of the path.
std::vector<RuleDescription> applicationRules(const ApplicationRequest& request);

/// The blocking rules, one for each profile in the order of kProfiles.
std::vector<RuleDescription> blockInboundRules();

}  // namespace korvel::fw
