#include "korvelctl/model/health.h"

#include "korvelctl/cli/words/status_words.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {

std::vector<HealthProblem> healthProblems(const EngineStatus& status, const SettingsFields& settings,
                                          uint64_t now, Language language) {
  std::vector<HealthProblem> problems;
  const auto add = [&](const char* id, const std::string& message, const Text& advice) {
    problems.push_back({id, message, advice.in(language)});
  };
  if (!status.protectionEnabled) {
    add("protection_off", words::kProblemProtectionOff.in(language), words::kAdviceProtection);
  }
  if (!settings.realTimeEnabled || (status.protectionEnabled && !status.realTimeActive))
    add("real_time_off", words::kProblemRealTimeOff.in(language), words::kAdviceRealTime);
  if (status.signatureCount == 0)
    add("no_signatures", words::kProblemNoSignatures.in(language), words::kAdviceSignatures);
  if (settings.liveUpdates && settings.lastLiveUpdateUtc == 0) {
    add("never_updated", words::kProblemNeverUpdated.in(language), words::kAdviceUpdate);
  } else if (settings.liveUpdates && now > settings.lastLiveUpdateUtc + kOldDatabaseSeconds) {
    add("old_database",
        filled(words::kProblemOldDatabase, language, {ageText(now - settings.lastLiveUpdateUtc, language)}),
        words::kAdviceUpdate);
  }
  if (!status.updateCheckError.empty()) {
    add("update_check_failed", filled(words::kProblemCheckFailed, language, {status.updateCheckError}),
        words::kAdviceProgram);
  }
  return problems;
}

}  // namespace korvel::ctl
