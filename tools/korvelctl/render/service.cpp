#include "korvelctl/render/service.h"

#include "base/utf.h"
#include "korvelctl/cli/words/service_words.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/listing.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {
namespace {

constexpr uint32_t kSpecificError = 1066;  // the service gives a code of its own besides
constexpr uint32_t kNeverStarted = 1077;

std::string codeText(const ServiceFacts& facts) {
  std::string text = std::to_string(facts.exitCode);
  if (facts.exitCode == kSpecificError) text += "/" + std::to_string(facts.specificExitCode);
  return text;
}

std::string startText(uint32_t type, Language language) {
  switch (type) {
    case 2:
      return words::kStartAutomatic.in(language);
    case 3:
      return words::kStartDemand.in(language);
    case 4:
      return words::kStartDisabled.in(language);
    default:
      return filled(words::kStartOther, language, {std::to_string(type)});
  }
}

const char* startName(uint32_t type) {
  switch (type) {
    case 2:
      return "automatic";
    case 3:
      return "demand";
    case 4:
      return "disabled";
    default:
      return "other";
  }
}

std::string stepText(const RecoveryStep& step, Language language) {
  const std::string delay = ageText(step.delayMs / 1'000, language);
  switch (step.action) {
    case RecoveryAction::kRestart:
      return filled(words::kRecoveryRestart, language, {delay});
    case RecoveryAction::kReboot:
      return filled(words::kRecoveryReboot, language, {delay});
    case RecoveryAction::kCommand:
      return filled(words::kRecoveryCommand, language, {delay});
    case RecoveryAction::kNone:
      break;
  }
  return words::kRecoveryNone.in(language);
}

const char* stepName(RecoveryAction action) {
  switch (action) {
    case RecoveryAction::kRestart:
      return "restart";
    case RecoveryAction::kReboot:
      return "reboot";
    case RecoveryAction::kCommand:
      return "command";
    case RecoveryAction::kNone:
      break;
  }
  return "none";
}

std::string recoveryText(const std::optional<Recovery>& recovery, Language language) {
  if (!recovery) return words::kRecoveryNotTold.in(language);
  if (recovery->steps.empty()) return words::kRecoveryNone.in(language);
  std::string text;
  for (const RecoveryStep& step : recovery->steps) {
    if (!text.empty()) text += ", ";
    text += stepText(step, language);
  }
  return text;
}

}  // namespace

std::string serviceStateText(const ServiceFacts& facts, Language language) {
  switch (facts.state) {
    case ScmState::kNotInstalled:
      return words::kStateNotInstalled.in(language);
    case ScmState::kStopped:
      if (facts.exitCode == 0 || facts.exitCode == kNeverStarted) return words::kStateStopped.in(language);
      return filled(words::kStateStopFailed, language, {codeText(facts)});
    case ScmState::kStartPending:
      return words::kStateStarting.in(language);
    case ScmState::kStopPending:
      return words::kStateStopping.in(language);
    case ScmState::kRunning:
      return filled(words::kStateRunning, language, {std::to_string(facts.processId)});
    default:
      return filled(words::kStateOther, language, {std::to_string(static_cast<uint32_t>(facts.state))});
  }
}

const char* serviceFaultName(ServiceFault fault) {
  switch (fault) {
    case ServiceFault::kOtherProgram:
      return "other_program";
    case ServiceFault::kNotQuoted:
      return "not_quoted";
    case ServiceFault::kNotAutomatic:
      return "not_automatic";
    case ServiceFault::kOtherAccount:
      return "other_account";
    case ServiceFault::kNoRecovery:
      break;
  }
  return "no_recovery";
}

std::string serviceFaultText(ServiceFault fault, Language language) {
  switch (fault) {
    case ServiceFault::kOtherProgram:
      return words::kStateFaultOtherProgram.in(language);
    case ServiceFault::kNotQuoted:
      return words::kStateFaultNotQuoted.in(language);
    case ServiceFault::kNotAutomatic:
      return words::kStateFaultNotAutomatic.in(language);
    case ServiceFault::kOtherAccount:
      return words::kStateFaultOtherAccount.in(language);
    case ServiceFault::kNoRecovery:
      break;
  }
  return words::kStateFaultNoRecovery.in(language);
}

std::string renderService(const ServiceFacts& facts, const std::vector<ServiceFault>& faults,
                          const Look& look) {
  const Language language = look.language;
  Facts lines;
  lines.add(words::kState.in(language), serviceStateText(facts, language));
  if (facts.state == ScmState::kNotInstalled) return lines.text(look);
  lines.add(words::kProgram.in(language), printable(facts.commandLine));
  lines.add(words::kAccount.in(language), printable(facts.account));
  lines.add(words::kStart.in(language), startText(facts.startType, language));
  lines.add(words::kRecovery.in(language), recoveryText(facts.recovery, language));
  for (const ServiceFault fault : faults)
    lines.add(words::kFaults.in(language), serviceFaultText(fault, language));
  return lines.text(look);
}

Json serviceJson(const ServiceFacts& facts, const std::vector<ServiceFault>& faults) {
  Json recovery = nullptr;
  if (facts.recovery) {
    Json steps = Json::array();
    for (const RecoveryStep& step : facts.recovery->steps)
      steps.push_back({{"action", stepName(step.action)}, {"delay_ms", step.delayMs}});
    recovery = {{"reset_s", facts.recovery->resetSeconds}, {"steps", std::move(steps)}};
  }
  Json names = Json::array();
  for (const ServiceFault fault : faults) names.push_back(serviceFaultName(fault));
  const bool installed = facts.state != ScmState::kNotInstalled;
  Json json{{"installed", installed}, {"state", scmStateName(facts.state)}};
  if (!installed) return json;
  json["process_id"] = facts.processId;
  json["exit_code"] = facts.exitCode;
  json["specific_exit_code"] = facts.specificExitCode;
  json["program"] = toUtf8(programOf(facts.commandLine));
  json["command_line"] = toUtf8(facts.commandLine);
  json["account"] = toUtf8(facts.account);
  json["start"] = startName(facts.startType);
  json["recovery"] = std::move(recovery);
  json["faults"] = std::move(names);
  return json;
}

}  // namespace korvel::ctl
