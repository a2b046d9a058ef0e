#include "service/run_mode.h"

namespace korvel {

CommandLine parseCommandLine(std::wstring_view tail) {
  const auto has = [tail](std::wstring_view flag) { return tail.find(flag) != std::wstring_view::npos; };
  const bool ping = has(L"--ping");
  const bool updateCheck = has(L"--update-check");
  const bool firewall = has(L"--fw");
  const bool console = has(L"--console");

  CommandLine result;
  result.wantsConsole = ping || updateCheck || firewall || console;
  if (ping) {
    result.mode = RunMode::kPingClient;
  } else if (updateCheck) {
    result.mode = RunMode::kUpdateCheckClient;
  } else if (firewall) {
    result.mode = RunMode::kFirewallClient;
  } else if (console) {
    result.mode = RunMode::kConsole;
  }
  return result;
}

}  // namespace korvel
