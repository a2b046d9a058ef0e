#include "fw/firewall_request.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "base/error.h"
#include "base/text.h"
#include "fw/firewall_text.h"

namespace korvel::fw {
namespace {

constexpr int32_t kBlock = 0;
constexpr int32_t kAllow = 1;
constexpr int32_t kInbound = 1;
constexpr int32_t kOutbound = 2;
constexpr int32_t kAllProfiles = 7;

std::optional<bool> parseFlag(std::string_view text) {
  if (text == "1") return true;
  if (text == "0") return false;
  return std::nullopt;
}

struct Split {
  std::string_view head;
  std::string_view rest;  // empty without a separator
};
Split splitAtFirst(std::string_view text, char separator) {
  const size_t at = text.find(separator);
  if (at == std::string_view::npos) return {text, {}};
  return {text.substr(0, at), text.substr(at + 1)};
}

std::string_view fileNamePart(std::string_view path) {
  const size_t separator = path.find_last_of("\\/");
  return separator == std::string_view::npos ? path : path.substr(separator + 1);
}

}  // namespace

bool parseProfileRequest(std::string_view request, ProfileRequest& parsed, std::string* error) {
  const Split fields = splitAtFirst(request, ',');
  const std::string name = lowerAscii(fields.head);
  const auto* profile = std::find_if(std::begin(kProfiles), std::end(kProfiles),
                                     [&](const ProfileKind& p) { return p.name == name; });
  if (profile == std::end(kProfiles)) return fail(error, "некорректный профиль брандмауэра в запросе");
  const std::optional<bool> enable = parseFlag(fields.rest);
  if (!enable) return fail(error, "некорректное значение включения профиля");
  parsed = {profile->type, *enable};
  return true;
}

bool parseApplicationRequest(std::string_view request, ApplicationRequest& parsed, std::string* error) {
  const Split first = splitAtFirst(request, '|');
  const Split second = splitAtFirst(first.rest, '|');
  const std::string action = lowerAscii(first.head);
  const std::string direction = lowerAscii(second.head);
  const bool known = (action == "block" || action == "allow") &&
                     (direction == "in" || direction == "out" || direction == "both");
  if (!known || second.rest.empty()) {
    return fail(error, "некорректное описание правила приложения");
  }
  parsed = {action == "allow" ? kAllow : kBlock, direction != "out", direction != "in",
            std::string(second.rest)};
  return true;
}

bool parseBlockInboundRequest(std::string_view request, bool& block, std::string* error) {
  const std::optional<bool> flag = parseFlag(request);
  if (!flag) return fail(error, "некорректное значение блокирования входящих");
  block = *flag;
  return true;
}

std::vector<RuleDescription> applicationRules(const ApplicationRequest& request) {
  const std::string name = "KORVEL: " + std::string(fileNamePart(request.path));
  const std::string description = "Правило создано KORVEL Antivirus.";
  std::vector<RuleDescription> rules;
  const auto add = [&](const char* suffix, int32_t direction) {
    rules.push_back({name + suffix, description, request.path, request.action, direction, kAllProfiles});
  };
  if (request.inbound) add(" (in)", kInbound);
  if (request.outbound) add(" (out)", kOutbound);
  return rules;
}

std::vector<RuleDescription> blockInboundRules() {
  std::vector<RuleDescription> rules;
  for (const ProfileKind& profile : kProfiles) {
    rules.push_back({"KORVEL: block all inbound (" + std::string(profile.name) + ")",
                     "Входящие блокируются программой KORVEL Antivirus.", /*application=*/"", kBlock,
                     kInbound, profile.type});
  }
  return rules;
}

}  // namespace korvel::fw
