#include "fw/firewall_changes.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "base/error.h"
#include "base/utf.h"
#include "fw/firewall_com.h"
#include "fw/firewall_request.h"
#include "fw/firewall_text.h"

namespace korvel::fw {
namespace {

using NameTest = std::function<bool(const std::wstring&)>;

bool failWith(std::string* error, const char* context, HRESULT result) {
  return fail(error, firewallFailure(context, result));
}

/// Calls `work` with a policy object, inside an apartment. Every exception becomes a failure.
template <typename Work>
bool changeFirewall(std::string* error, const Work& work) {
  try {
    if (error != nullptr) error->clear();
    const ComApartment apartment;
    ComPtr<INetFwPolicy2> policy;
    const HRESULT created = createFirewallPolicy(policy);
    if (FAILED(created)) return failWith(error, "брандмауэр недоступен", created);
    return work(*policy.get());
  } catch (...) {
    return fail(error, "внутренняя ошибка брандмауэра");
  }
}

constexpr char kNoRules[] = "не удалось получить набор правил";

bool openRules(INetFwPolicy2& policy, ComPtr<INetFwRules>& rules, std::string* error) {
  const HRESULT result = received(policy.get_Rules(rules.receive()), rules);
  return SUCCEEDED(result) || failWith(error, kNoRules, result);
}

/// Collects one name per matching rule: a name that two rules share appears twice.
bool collectNames(INetFwRules& rules, const NameTest& matches, std::vector<std::wstring>& names,
                  std::string* error, const StopToken& stop) {
  RuleWalk walk(stop);
  const HRESULT opened = walk.open(rules);
  if (FAILED(opened)) return failWith(error, kNoRules, opened);
  for (ComPtr<INetFwRule> rule; walk.next(rule);) {
    std::wstring name = ruleName(*rule.get());
    if (matches(name)) names.push_back(std::move(name));
  }
  return !stop.stop_requested() || fail(error, "service is stopping");
}

/// Collects the names before the first removal, because a collection must not change during its enumeration.
bool removeMatching(INetFwRules& rules, const NameTest& matches, std::string* error, const StopToken& stop) {
  std::vector<std::wstring> names;
  if (!collectNames(rules, matches, names, error, stop)) return false;
  for (const std::wstring& name : names) {
    const HRESULT removed = rules.Remove(makeBstr(name).get());
    if (FAILED(removed)) return failWith(error, "не удалось удалить правило", removed);
  }
  return true;
}

bool addRules(INetFwRules& rules, const std::vector<RuleDescription>& wanted, std::string* error) {
  for (const RuleDescription& description : wanted) {
    ComPtr<INetFwRule> rule;
    const HRESULT made = makeFirewallRule(description, rule);
    if (FAILED(made)) return failWith(error, "не удалось собрать правило", made);
    const HRESULT added = rules.Add(rule.get());
    if (FAILED(added)) return failWith(error, "не удалось добавить правило", added);
  }
  return true;
}

/// Compares in UTF-16, as the API returns names: a path that is not valid UTF-8 changes in the conversion.
NameTest namesOf(const std::vector<RuleDescription>& wanted) {
  std::vector<std::wstring> names;
  names.reserve(wanted.size());
  for (const RuleDescription& rule : wanted) names.push_back(toWide(rule.name));
  return [names = std::move(names)](const std::wstring& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
  };
}

}  // namespace

bool setProfileEnabled(const std::string& request, std::string* error) {
  return changeFirewall(error, [&](INetFwPolicy2& policy) {
    ProfileRequest wanted;
    if (!parseProfileRequest(request, wanted, error)) return false;
    const HRESULT result = policy.put_FirewallEnabled(static_cast<NET_FW_PROFILE_TYPE2>(wanted.type),
                                                      wanted.enable ? VARIANT_TRUE : VARIANT_FALSE);
    return SUCCEEDED(result) || failWith(error, "не удалось изменить состояние профиля", result);
  });
}

bool addApplicationRule(const std::string& request, std::string* error, const StopToken& stop) {
  return changeFirewall(error, [&](INetFwPolicy2& policy) {
    ApplicationRequest parsed;
    if (!parseApplicationRequest(request, parsed, error)) return false;
    const std::vector<RuleDescription> wanted = applicationRules(parsed);
    ComPtr<INetFwRules> rules;
    return openRules(policy, rules, error) && removeMatching(*rules.get(), namesOf(wanted), error, stop) &&
           addRules(*rules.get(), wanted, error);
  });
}

bool setBlockAllInbound(const std::string& request, std::string* error, const StopToken& stop) {
  return changeFirewall(error, [&](INetFwPolicy2& policy) {
    bool block = false;
    if (!parseBlockInboundRequest(request, block, error)) return false;
    ComPtr<INetFwRules> rules;
    if (!openRules(policy, rules, error)) return false;
    if (!removeMatching(*rules.get(), isBlockInboundRuleName, error, stop)) return false;
    return !block || addRules(*rules.get(), blockInboundRules(), error);
  });
}

bool removeKorvelRules(std::string* error, const StopToken& stop) {
  return changeFirewall(error, [&](INetFwPolicy2& policy) {
    ComPtr<INetFwRules> rules;
    return openRules(policy, rules, error) && removeMatching(*rules.get(), isOwnRuleName, error, stop);
  });
}

}  // namespace korvel::fw
