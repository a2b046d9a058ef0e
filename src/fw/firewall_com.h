// Operations on the COM objects of Windows Firewall that queries and changes share. Calls need an apartment
// on the calling thread and throw only std::bad_alloc.
#pragma once

#include <string>

#include "base/stop.h"
#include "fw/com.h"
#include "fw/firewall_request.h"

#include <netfw.h>

namespace korvel::fw {

HRESULT createFirewallPolicy(ComPtr<INetFwPolicy2>& policy);

/// The rule's name and the path of its program; empty when null or unreadable.
std::wstring ruleName(INetFwRule& rule);
std::wstring ruleApplication(INetFwRule& rule);

/// Enumerates the rules of a collection.
class RuleWalk {
 public:
  explicit RuleWalk(const StopToken& stop) : stop_(stop) {}

  /// Starts at the first rule. On failure there is nothing to walk.
  HRESULT open(INetFwRules& rules);
  /// False at the end, after a stop, and as soon as the enumerator fails. Elements that are not rules are
  /// skipped.
  bool next(ComPtr<INetFwRule>& rule);

 private:
  const StopToken stop_;
  ComPtr<IEnumVARIANT> elements_;
};

/// Creates a rule that is not part of any collection yet. On failure returns the result of the first failing
/// call and leaves `rule` empty.
HRESULT makeFirewallRule(const RuleDescription& description, ComPtr<INetFwRule>& rule);

}  // namespace korvel::fw
