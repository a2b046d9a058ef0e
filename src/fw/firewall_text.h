// Formats the reply to a firewall status request, and the texts of firewall failures.
//
// The reply is UTF-8 lines, each ending in LF: profiles, at most kMaxRuleLines rules, the block-inbound
// state, errors. Works on plain records and does not depend on COM. Pure and thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::fw {

/// A firewall profile: its name in requests and replies, and its NET_FW_PROFILE_TYPE2 value.
struct ProfileKind {
  std::string_view name;
  int32_t type;
};
/// Every profile, in the order used in replies and when one rule is created per profile.
inline constexpr ProfileKind kProfiles[] = {{"domain", 1}, {"private", 2}, {"public", 4}};

inline constexpr size_t kMaxRuleLines = 400;

struct ProfileState {
  std::string_view name;  // one of kProfiles
  bool on = false;
};

/// A rule that is listed in the reply. The numbers are the API's; unreadable properties keep these defaults.
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
  std::vector<std::string> errors;  // messages for the user, not escaped
};

/// True for the rules of this product: the name begins with "KORVEL:", case-insensitively.
bool isOwnRuleName(std::wstring_view name);

/// True for the rules that block all inbound traffic: the name begins with "KORVEL: block all inbound",
/// case-insensitively.
bool isBlockInboundRuleName(std::wstring_view name);

/// True when `path` begins with `windowsDirectory`, case-insensitively; never for an empty directory.
bool isSystemPath(std::wstring_view path, std::wstring_view windowsDirectory);

/// Processes one of all existing rules: sets `status.inboundBlocked` for a block-inbound rule, and returns
/// whether the caller is to add the rule to `status.rules`.
bool noticeRule(FirewallStatus& status, std::wstring_view name, std::wstring_view application,
                std::wstring_view windowsDirectory);

/// The whole reply for a firewall that can be accessed.
std::string firewallStatusText(const FirewallStatus& status);

/// A reply that consists of a single error line, without a line feed.
std::string firewallErrorReply(std::string_view message);

/// Puts a backslash before each comma and replaces each CR and LF by a space; backslashes are not escaped.
std::string escapeFirewallField(std::string_view text);

/// An HRESULT for the user: "код 0x800706D9", or a sentence for E_ACCESSDENIED.
std::string firewallErrorText(long hr);

/// `context`, ": " and firewallErrorText(hr).
std::string firewallFailure(std::string_view context, long hr);

}  // namespace korvel::fw
