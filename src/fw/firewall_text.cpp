#include "fw/firewall_text.h"

#include <cstdio>

#include "base/text.h"
#include "base/version.h"

namespace korvel::fw {
namespace {

constexpr std::wstring_view kBlockInboundPrefix = L"KORVEL: block all inbound";
constexpr uint32_t kAccessDenied = 0x80070005;

/// Case-insensitive.
bool beginsWith(std::wstring_view text, std::wstring_view prefix) {
  return lowerWide(text.substr(0, prefix.size())) == lowerWide(prefix);
}

std::string_view directionWord(int32_t direction) {
  switch (direction) {
    case 1:
      return "in";
    case 2:
      return "out";
    default:
      return "both";
  }
}

std::string_view onOff(bool on) { return on ? "on" : "off"; }

void appendRule(std::string& text, const ListedRule& rule) {
  text.append("rule,").append(onOff(rule.enabled));
  text.append(rule.action != 0 ? ",allow," : ",block,").append(directionWord(rule.direction));
  text.append(",").append(escapeFirewallField(rule.name));
  text.append(",").append(escapeFirewallField(rule.application)).append("\n");
}

}  // namespace

bool isOwnRuleName(std::wstring_view name) { return beginsWith(name, kFirewallRulePrefix); }

bool isBlockInboundRuleName(std::wstring_view name) { return beginsWith(name, kBlockInboundPrefix); }

bool isSystemPath(std::wstring_view path, std::wstring_view windowsDirectory) {
  return !windowsDirectory.empty() && beginsWith(path, windowsDirectory);
}

bool noticeRule(FirewallStatus& status, std::wstring_view name, std::wstring_view application,
                std::wstring_view windowsDirectory) {
  // Also set by rules that are not listed: block-inbound rules have no application.
  if (isBlockInboundRuleName(name)) status.inboundBlocked = true;
  if (application.empty() || status.rules.size() >= kMaxRuleLines) return false;
  return isOwnRuleName(name) || !isSystemPath(application, windowsDirectory);
}

std::string firewallStatusText(const FirewallStatus& status) {
  std::string text;
  for (const ProfileState& profile : status.profiles) {
    text.append("prof,").append(profile.name).append(",").append(onOff(profile.on)).append("\n");
  }
  for (const ListedRule& rule : status.rules) appendRule(text, rule);
  text.append("blockin,").append(onOff(status.inboundBlocked)).append("\n");
  for (const std::string& error : status.errors) text.append(firewallErrorReply(error)).append("\n");
  return text;
}

std::string firewallErrorReply(std::string_view message) { return "error," + escapeFirewallField(message); }

std::string escapeFirewallField(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size());
  for (const char c : text) {
    if (c == ',') escaped.push_back('\\');
    escaped.push_back(c == '\r' || c == '\n' ? ' ' : c);
  }
  return escaped;
}

std::string firewallErrorText(long hr) {
  const auto code = static_cast<uint32_t>(hr);
  if (code == kAccessDenied) return "требуются права администратора (код 0x80070005)";
  char digits[sizeof "0x12345678"];
  std::snprintf(digits, sizeof digits, "0x%08lX", static_cast<unsigned long>(code));
  return std::string("код ") + digits;
}

std::string firewallFailure(std::string_view context, long hr) {
  return std::string(context) + ": " + firewallErrorText(hr);
}

}  // namespace korvel::fw
