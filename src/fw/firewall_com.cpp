#include "fw/firewall_com.h"

#include <utility>

#include "base/utf.h"

namespace korvel::fw {
namespace {

constexpr LONG kAnyProtocol = 256;  // NET_FW_IP_PROTOCOL_ANY, which this compiler's headers lack

using PutText = HRESULT (STDMETHODCALLTYPE INetFwRule::*)(BSTR);

HRESULT putText(INetFwRule& rule, PutText put, const std::string& text) {
  if (text.empty()) return S_OK;
  return (rule.*put)(makeBstr(toWide(text)).get());
}

HRESULT setProperties(INetFwRule& rule, const RuleDescription& wanted) {
  HRESULT result = putText(rule, &INetFwRule::put_Name, wanted.name);
  if (SUCCEEDED(result)) result = putText(rule, &INetFwRule::put_Description, wanted.description);
  if (SUCCEEDED(result)) result = putText(rule, &INetFwRule::put_ApplicationName, wanted.application);
  if (SUCCEEDED(result)) result = rule.put_Action(static_cast<NET_FW_ACTION>(wanted.action));
  if (SUCCEEDED(result)) result = rule.put_Direction(static_cast<NET_FW_RULE_DIRECTION>(wanted.direction));
  if (SUCCEEDED(result)) result = rule.put_Protocol(kAnyProtocol);
  if (SUCCEEDED(result)) result = rule.put_Enabled(VARIANT_TRUE);
  if (SUCCEEDED(result)) result = rule.put_Profiles(wanted.profiles);
  return result;
}

}  // namespace

HRESULT createFirewallPolicy(ComPtr<INetFwPolicy2>& policy) {
  return createInProcess(__uuidof(NetFwPolicy2), policy);
}

std::wstring ruleName(INetFwRule& rule) {
  Bstr name;
  return SUCCEEDED(rule.get_Name(name.receive())) ? toText(name) : std::wstring();
}

std::wstring ruleApplication(INetFwRule& rule) {
  Bstr application;
  return SUCCEEDED(rule.get_ApplicationName(application.receive())) ? toText(application) : std::wstring();
}

HRESULT RuleWalk::open(INetFwRules& rules) {
  elements_.reset();
  ComPtr<IUnknown> enumerator;
  const HRESULT result = received(rules.get__NewEnum(enumerator.receive()), enumerator);
  return FAILED(result) ? result : queryInterface(enumerator.get(), elements_);
}

bool RuleWalk::next(ComPtr<INetFwRule>& rule) {
  Variant element;
  ULONG fetched = 0;  // always 1 with S_OK; not null, because some enumerators always write it
  while (elements_ && !stop_.stop_requested() &&
         elements_->Next(/*count=*/1, element.receive(), &fetched) == S_OK) {
    IDispatch* const object = element.dispatch();
    if (object != nullptr && SUCCEEDED(queryInterface(object, rule))) return true;
  }
  return false;
}

HRESULT makeFirewallRule(const RuleDescription& description, ComPtr<INetFwRule>& rule) {
  rule.reset();
  ComPtr<INetFwRule> made;
  HRESULT result = createInProcess(__uuidof(NetFwRule), made);
  if (SUCCEEDED(result)) result = setProperties(*made.get(), description);
  if (SUCCEEDED(result)) rule = std::move(made);
  return result;
}

}  // namespace korvel::fw
