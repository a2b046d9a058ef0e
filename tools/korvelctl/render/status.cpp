#include "korvelctl/render/status.h"

#include <nlohmann/json.hpp>

#include "korvelctl/cli/words/common_words.h"
#include "korvelctl/cli/words/status_words.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/listing.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {
namespace {

std::string realTimeText(const EngineStatus& status, Language language) {
  std::string text = (status.realTimeActive ? words::kProtectionOn : words::kProtectionOff).in(language);
  if (status.realTimeActive && status.signatureCount == 0) text = words::kRealTimeUseless.in(language);
  if (!status.minifilterConnected) return text + ", " + words::kDriverAbsent.in(language);
  const std::string queries = countText(status.minifilterHandled, words::kQueries, language);
  return text + ", " + filled(words::kDriverConnected, language, {queries});
}

std::string scanText(const StatusReport& report, const Look& look) {
  const Language language = look.language;
  std::string text = (report.status.scanRunning ? words::kScanRuns : words::kScanIdle).in(language);
  if (report.settings.lastScanUtc == 0) return text + "; " + words::kNoScanYet.in(language);
  return text + "; " +
         filled(words::kLastScan, language,
                {timeText(report.settings.lastScanUtc, look),
                 numberText(report.settings.lastThreatCount, language)});
}

std::string updateText(const StatusReport& report, Language language) {
  const EngineStatus& status = report.status;
  std::string text =
      filled(words::kLiveUpdates, language, {onOffText(report.settings.liveUpdates, language)}) + "; ";
  if (status.liveUpdateRunning) text += std::string(words::kLiveUpdateRuns.in(language)) + "; ";
  text += (status.updateCheckRunning ? words::kCheckRuns : words::kCheckIdle).in(language);
  if (!status.updateCheckError.empty())
    text += "; " + filled(words::kCheckFailed, language, {printable(status.updateCheckError)});
  if (!status.updateCheckInstaller.empty())
    text += "; " + filled(words::kInstallerSaved, language, {printable(status.updateCheckInstaller)});
  return text;
}

}  // namespace

std::string signaturesText(const EngineStatus& status, const SettingsFields& settings, uint64_t now,
                           Language language) {
  if (status.signatureCount == 0) return words::kNoSignatures.in(language);
  std::string text =
      filled(words::kSignaturesLoaded, language,
             {numberText(status.signatureCount, language), printable(status.signatureVersion)});
  if (settings.lastLiveUpdateUtc == 0) return text + ", " + words::kNeverUpdated.in(language);
  const uint64_t age = now > settings.lastLiveUpdateUtc ? now - settings.lastLiveUpdateUtc : 0;
  return text + ", " + filled(words::kUpdatedAgo, language, {ageText(age, language)});
}

std::string renderStatus(const StatusReport& report, const Look& look) {
  const Language language = look.language;
  const EngineStatus& status = report.status;
  Facts facts;
  facts.add(words::kService.in(language),
            filled(words::kServiceAnswers, language,
                   {printable(status.serviceVersion), std::to_string(report.roundTripMs)}));
  facts.add(words::kSignatures.in(language), signaturesText(status, report.settings, report.now, language));
  facts.add(words::kProtection.in(language),
            (status.protectionEnabled ? words::kProtectionOn : words::kProtectionOff).in(language));
  facts.add(words::kRealTime.in(language), realTimeText(status, language));
  facts.add(words::kScan.in(language), scanText(report, look));
  facts.add(words::kUpdate.in(language), updateText(report, language));
  std::string server = words::kServerUnknown.in(language);
  if (report.updateServer)
    server = report.updateServer->empty() ? words::kServerNone.in(language) : printable(*report.updateServer);
  facts.add(words::kUpdateServer.in(language), server);
  for (const HealthProblem& problem : report.problems)
    facts.add(words::kProblem.in(language), printable(problem.message) + " (" + problem.advice + ")");
  return facts.text(look);
}

Json statusJson(const StatusReport& report) {
  const EngineStatus& status = report.status;
  const SettingsFields& settings = report.settings;
  Json problems = Json::array();
  for (const HealthProblem& problem : report.problems)
    problems.push_back({{"id", problem.id}, {"message", problem.message}, {"next_step", problem.advice}});
  return Json{{"service", {{"version", status.serviceVersion}, {"rtt_ms", report.roundTripMs}}},
              {"signatures",
               {{"count", jsonNumber(status.signatureCount)},
                {"version", status.signatureVersion},
                {"last_live_update_utc", jsonTime(settings.lastLiveUpdateUtc)}}},
              {"protection",
               {{"enabled", status.protectionEnabled},
                {"real_time", status.realTimeActive},
                {"driver", status.minifilterConnected},
                {"driver_queries", jsonNumber(status.minifilterHandled)}}},
              {"scan",
               {{"running", status.scanRunning},
                {"last_utc", jsonTime(settings.lastScanUtc)},
                {"last_threats", jsonNumber(settings.lastThreatCount)}}},
              {"update",
               {{"live_updates", settings.liveUpdates},
                {"live_update_running", status.liveUpdateRunning},
                {"check_running", status.updateCheckRunning},
                {"error", status.updateCheckError},
                {"installer", status.updateCheckInstaller},
                {"server", report.updateServer ? Json(*report.updateServer) : Json()}}},
              {"problems", problems}};
}

}  // namespace korvel::ctl
