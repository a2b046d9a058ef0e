// The steps on the Windows Firewall's COM objects that queries and changes share. Calls need an apartment
// on the calling thread and throw std::bad_alloc only.
#pragma once

#include <string>

#include "fw/com.h"
#include "fw/firewall_request.h"

#include <netfw.h>

namespace korvel::fw {

HRESULT createFirewallPolicy(ComPtr<INetFwPolicy2>& policy);

/// The rule's name and the path of its program; empty when null or unreadable.
std::wstring ruleName(INetFwRule& rule);
std::wstring ruleApplication(INetFwRule& rule);

/// Hands out the rules of a collection one by one.
class RuleWalk {
 public:
  /// Starts at the first rule. On failure there is nothing to walk.
  HRESULT open(INetFwRules& rules);
  /// False at the end, and as soon as the enumerator fails. Elements that are no rules are left out.
  bool next(ComPtr<INetFwRule>& rule);

 private:
  ComPtr<IEnumVARIANT> elements_;
};

/// Makes a rule that is not part of any collection yet. Returns the first failing call's result, and then
/// `rule` is empty.
HRESULT makeFirewallRule(const RuleDescription& description, ComPtr<INetFwRule>& rule);

}  // namespace korvel::fw
