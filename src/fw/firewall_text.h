// The text that answers "what does the firewall look like", and the words of firewall failures.
//
// The reply is UTF-8 lines, each ending in LF: profiles, at most kMaxRuleLines rules, the block-inbound
// state, errors. Plain records go in, so that nothing here knows COM. Pure and thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::fw {

/// A firewall profile by its name in requests and replies and by its NET_FW_PROFILE_TYPE2 value.
struct ProfileKind {
  std::string_view name;
  int32_t type;
};
/// Every profile, in the order of all replies and of all rules made per profile.
inline constexpr ProfileKind kProfiles[] = {{"domain", 1}, {"private", 2}, {"public", 4}};

inline constexpr size_t kMaxRuleLines = 400;

struct ProfileState {
  std::string_view name;  // one of kProfiles
  bool on = false;
};

/// A rule that gets a line of its own. The numbers are the API's; what could not be read stays as it is here.
struct ListedRule {
  bool enabled = false;
  int32_t action = 0;     // NET_FW_ACTION: 0 blocks, anything else allows
  int32_t direction = 0;  // NET_FW_RULE_DIRECTION: 1 in, 2 out, anything else both
  std::string name;
  std::string application;
};

struct FirewallStatus {
  std::vector<ProfileState> profiles;
  std::vector<ListedRule> rules;
  bool inboundBlocked = false;
  std::vector<std::string> errors;  // messages as people read them, not escaped
};

/// True for the rules of this product: the name begins with "KORVEL:" in any case.
bool isOwnRuleName(std::wstring_view name);

/// True for the rules that block all inbound traffic: "KORVEL: block all inbound" in any case, then anything.
bool isBlockInboundRuleName(std::wstring_view name);

/// True when `path` begins with `windowsDirectory` in any case; never for an empty directory.
bool isSystemPath(std::wstring_view path, std::wstring_view windowsDirectory);

/// Takes notice of a rule met in the walk over all rules: keeps the block-inbound mark and says whether the
/// rule is to be added to `status.rules`.
bool noticeRule(FirewallStatus& status, std::wstring_view name, std::wstring_view application,
                std::wstring_view windowsDirectory);

/// The whole reply for a firewall that could be asked.
std::string firewallStatusText(const FirewallStatus& status);

/// The reply that is nothing but one error: no line feed at its end.
std::string firewallErrorReply(std::string_view message);

/// Puts a backslash before each comma and a space in the place of each CR and LF; a backslash is not escaped.
std::string escapeFirewallField(std::string_view text);

/// An HRESULT for the user: "код 0x800706D9"; a refusal for want of rights says so in words.
std::string firewallErrorText(long hr);

/// `context`, ": " and firewallErrorText(hr).
std::string firewallFailure(std::string_view context, long hr);

}  // namespace korvel::fw
