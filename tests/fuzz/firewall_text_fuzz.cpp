// Names and paths as a machine's firewall may hold them: whatever they are, the reply keeps its lines and
// fields.
//
// The input is a list of rules: three bytes of numbers, then name and application, each up to a zero byte.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "base/utf.h"
#include "fw/firewall_text.h"

namespace {

using korvel::fw::FirewallStatus;

void require(bool ok) {
  if (!ok) std::abort();
}

std::string_view takeText(std::string_view& input) {
  const size_t end = std::min(input.find('\0'), input.size());
  const std::string_view text = input.substr(0, end);
  input.remove_prefix(std::min(end + 1, input.size()));
  return text;
}

FirewallStatus statusOf(std::string_view input) {
  FirewallStatus status;
  while (input.size() > 3) {
    korvel::fw::ListedRule rule;
    rule.enabled = (input[0] & 1) != 0;
    rule.action = static_cast<signed char>(input[1]);
    rule.direction = static_cast<signed char>(input[2]);
    input.remove_prefix(3);
    rule.name = takeText(input);
    rule.application = takeText(input);
    const std::wstring name = korvel::toWide(rule.name);
    const bool listed = noticeRule(status, name, korvel::toWide(rule.application), L"C:\\Windows");
    require(!listed || !rule.application.empty());
    if (listed) status.rules.push_back(rule);
    if (!listed) status.errors.push_back(rule.name);
  }
  return status;
}

// Commas that no backslash precedes; the escaping makes each of them a separator.
size_t separatorsIn(std::string_view line) {
  size_t count = 0;
  for (size_t i = 0; i < line.size(); ++i) {
    if (line[i] == ',' && (i == 0 || line[i - 1] != '\\')) ++count;
  }
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const FirewallStatus status = statusOf({reinterpret_cast<const char*>(data), size});
  require(status.rules.size() <= korvel::fw::kMaxRuleLines);
  std::string text = firewallStatusText(status);
  require(text.find('\r') == std::string::npos);
  size_t lines = 0;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    require(end != std::string::npos);
    const std::string_view line = std::string_view(text).substr(0, end);
    // One separator may go where a name ends in a backslash, which is not escaped.
    if (line.starts_with("rule,")) require(separatorsIn(line) == 5 || separatorsIn(line) == 4);
    if (line.starts_with("error,")) require(separatorsIn(line) == 1);
    ++lines;
    text.erase(0, end + 1);
  }
  require(lines == status.rules.size() + status.errors.size() + 1);
  return 0;
}
