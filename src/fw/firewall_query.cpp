#include "fw/firewall_query.h"

#include <cstring>

#include "base/utf.h"
#include "fw/firewall_com.h"
#include "fw/firewall_text.h"

namespace korvel::fw {
namespace {

std::wstring lookUpWindowsDirectory() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const UINT length = ::GetWindowsDirectoryW(path.data(), static_cast<UINT>(path.size()));
    const bool fits = length < path.size();  // the length of a longer path includes its NUL
    path.resize(length);                     // empty on failure; no path is a system path then
    if (fits) return path;
  }
}

const std::wstring& windowsDirectory() {
  static const std::wstring path = lookUpWindowsDirectory();
  return path;
}

void readProfiles(INetFwPolicy2& policy, FirewallStatus& status) {
  for (const ProfileKind& profile : kProfiles) {
    VARIANT_BOOL enabled = VARIANT_FALSE;
    const HRESULT result =
        policy.get_FirewallEnabled(static_cast<NET_FW_PROFILE_TYPE2>(profile.type), &enabled);
    if (FAILED(result)) {
      const std::string context = "не удалось прочитать профиль " + std::string(profile.name);
      status.errors.push_back(firewallFailure(context, result));
      continue;
    }
    status.profiles.push_back({profile.name, enabled == VARIANT_TRUE});
  }
}

/// The number in an enumeration that the API has filled in, perhaps with a value that has no enumerator.
template <typename Enum>
int32_t numberOf(const Enum& value) {
  static_assert(sizeof(Enum) == sizeof(int32_t));
  int32_t number = 0;
  std::memcpy(&number, &value, sizeof number);
  return number;
}

/// A property that cannot be read keeps the default of ListedRule, because the rule is shown anyway.
ListedRule readRule(INetFwRule& rule, const std::wstring& name, const std::wstring& application) {
  ListedRule listed;
  listed.name = toUtf8(name);
  listed.application = toUtf8(application);
  VARIANT_BOOL enabled = VARIANT_FALSE;
  if (SUCCEEDED(rule.get_Enabled(&enabled))) listed.enabled = enabled == VARIANT_TRUE;
  NET_FW_ACTION action = NET_FW_ACTION_BLOCK;
  if (SUCCEEDED(rule.get_Action(&action))) listed.action = numberOf(action);
  NET_FW_RULE_DIRECTION direction{};
  if (SUCCEEDED(rule.get_Direction(&direction))) listed.direction = numberOf(direction);
  return listed;
}

HRESULT readRules(INetFwPolicy2& policy, FirewallStatus& status, const StopToken& stop) {
  ComPtr<INetFwRules> rules;
  HRESULT result = received(policy.get_Rules(rules.receive()), rules);
  if (FAILED(result)) return result;
  RuleWalk walk(stop);
  result = walk.open(*rules.get());
  for (ComPtr<INetFwRule> rule; walk.next(rule);) {
    const std::wstring name = ruleName(*rule.get());
    const std::wstring application = ruleApplication(*rule.get());
    if (!noticeRule(status, name, application, windowsDirectory())) continue;
    status.rules.push_back(readRule(*rule.get(), name, application));
  }
  return result;
}

std::string askFirewall(const StopToken& stop) {
  const ComApartment apartment;
  ComPtr<INetFwPolicy2> policy;
  const HRESULT created = createFirewallPolicy(policy);
  if (FAILED(created)) {
    return firewallErrorReply(
        firewallFailure("брандмауэр недоступен: не удалось обратиться к API брандмауэра", created));
  }
  FirewallStatus status;
  readProfiles(*policy.get(), status);
  const HRESULT listed = readRules(*policy.get(), status, stop);
  if (FAILED(listed)) status.errors.push_back(firewallFailure("не удалось перечислить правила", listed));
  return firewallStatusText(status);
}

}  // namespace

std::string queryFirewallStatus(const StopToken& stop) {
  try {
    return askFirewall(stop);
  } catch (...) {
    return firewallErrorReply("внутренняя ошибка запроса брандмауэра");
  }
}

}  // namespace korvel::fw
