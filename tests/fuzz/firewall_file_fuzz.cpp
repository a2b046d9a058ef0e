// The saved file of the firewall's rules, whatever it holds: it is refused with a sentence, or it says the
// same after it was written and read again, and each of its rules is a request that the service understands.
#include <string>

#include "fuzz/payload_input.h"
#include "korvelctl/model/firewall_file.h"

using namespace korvel::ctl;
using korvel::fuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = korvel::fuzz::payloadOf(data, size);
  std::string error;
  const auto file = parseFirewallFile(text, Language::kEnglish, &error);
  require(file.has_value() == error.empty());
  require(parseFirewallFile(text, Language::kRussian, nullptr) == file);
  if (!file) return 0;
  for (const FirewallProgramRule& rule : file->rules) {
    require(rule.action == "block" || rule.action == "allow");
    require(rule.direction == "in" || rule.direction == "out" || rule.direction == "both");
    require(!rule.program.empty() && rule.request().ends_with("|" + rule.program));
  }
  require(parseFirewallFile(formatFirewallFile(*file), Language::kEnglish, &error) == file);
  return 0;
}
