#include "korvelctl/model/service_plan.h"

#include <algorithm>

#include "base/text.h"
#include "base/version.h"

namespace korvel::ctl {
namespace {

constexpr uint32_t kRestartDelayMs = 60'000;
constexpr uint32_t kDaySeconds = 86'400;
constexpr uint32_t kAutomaticStart = 2;
constexpr std::wstring_view kSystemAccount = L"localsystem";
constexpr std::wstring_view kProgramEnding = L".exe";

bool isQuoted(std::wstring_view commandLine) { return commandLine.starts_with(L'"'); }

}  // namespace

const char* scmStateName(ScmState state) {
  switch (state) {
    case ScmState::kNotInstalled:
      return "not_installed";
    case ScmState::kStopped:
      return "stopped";
    case ScmState::kStartPending:
      return "start_pending";
    case ScmState::kStopPending:
      return "stop_pending";
    case ScmState::kRunning:
      return "running";
    case ScmState::kContinuePending:
      return "continue_pending";
    case ScmState::kPausePending:
      return "pause_pending";
    case ScmState::kPaused:
      return "paused";
  }
  return "unknown";
}

ServicePlan servicePlan(std::wstring_view executable) {
  return {L"\"" + std::wstring(executable) + L"\"",
          kProductName,
          L"Scans files, watches for new ones and keeps what it finds in quarantine.",
          {kDaySeconds,
           {{RecoveryAction::kRestart, kRestartDelayMs},
            {RecoveryAction::kRestart, kRestartDelayMs},
            {RecoveryAction::kNone, 0}}}};
}

std::wstring programOf(std::wstring_view commandLine) {
  if (isQuoted(commandLine)) {
    commandLine.remove_prefix(1);
    return std::wstring(commandLine.substr(0, commandLine.find(L'"')));
  }
  const size_t ending = lowerWide(commandLine).find(kProgramEnding);
  return std::wstring(ending == std::wstring::npos ? commandLine
                                                   : commandLine.substr(0, ending + kProgramEnding.size()));
}

std::vector<ServiceFault> serviceFaults(const ServiceFacts& facts, std::wstring_view executable) {
  std::vector<ServiceFault> faults;
  if (facts.state == ScmState::kNotInstalled) return faults;
  const std::wstring program = programOf(facts.commandLine);
  if (!executable.empty() && lowerWide(program) != lowerWide(executable))
    faults.push_back(ServiceFault::kOtherProgram);
  if (!isQuoted(facts.commandLine) && program.find(L' ') != std::wstring::npos)
    faults.push_back(ServiceFault::kNotQuoted);
  if (facts.startType != kAutomaticStart) faults.push_back(ServiceFault::kNotAutomatic);
  if (lowerWide(facts.account) != kSystemAccount) faults.push_back(ServiceFault::kOtherAccount);
  if (facts.recovery) {
    const auto restarts = [](const RecoveryStep& step) { return step.action == RecoveryAction::kRestart; };
    if (std::none_of(facts.recovery->steps.begin(), facts.recovery->steps.end(), restarts))
      faults.push_back(ServiceFault::kNoRecovery);
  }
  return faults;
}

}  // namespace korvel::ctl
