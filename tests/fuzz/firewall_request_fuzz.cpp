// Requests as any client may send them: a request is refused with a text, or understood and within its
// limits.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "fw/firewall_request.h"
#include "fw/firewall_text.h"

namespace {

void require(bool ok) {
  if (!ok) std::abort();
}

void checkProfile(std::string_view request) {
  korvel::fw::ProfileRequest parsed;
  std::string error;
  const bool ok = korvel::fw::parseProfileRequest(request, parsed, &error);
  require(ok == error.empty());
  if (!ok) return;
  require(parsed.type == 1 || parsed.type == 2 || parsed.type == 4);
  require(request.back() == (parsed.enable ? '1' : '0'));
}

void checkApplication(std::string_view request) {
  korvel::fw::ApplicationRequest parsed;
  std::string error;
  const bool ok = korvel::fw::parseApplicationRequest(request, parsed, &error);
  require(ok == error.empty());
  if (!ok) return;
  require(!parsed.path.empty() && request.ends_with(parsed.path));
  const auto rules = korvel::fw::applicationRules(parsed);
  require(rules.size() == static_cast<size_t>(parsed.inbound) + static_cast<size_t>(parsed.outbound));
  for (const auto& rule : rules) {
    require(rule.name.starts_with("KORVEL: ") &&
            rule.name.ends_with(rule.direction == 1 ? " (in)" : " (out)"));
    require(rule.name.find_first_of("\\/") == std::string::npos);
    require(rule.application == parsed.path && rule.profiles == 7 && (rule.action == 0 || rule.action == 1));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view request(reinterpret_cast<const char*>(data), size);
  checkProfile(request);
  checkApplication(request);
  bool block = false;
  require(korvel::fw::parseBlockInboundRequest(request, block, nullptr) ==
          (request == "1" || request == "0"));
  return 0;
}
