#include "korvelctl/render/threats.h"

#include <nlohmann/json.hpp>

#include "base/utf.h"
#include "korvelctl/cli/words/report_words.h"
#include "korvelctl/cli/words/threat_words.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/scan_report.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {
namespace {

std::string totals(const ScanDocument& document, Language language) {
  const SeverityCounts counts = countThreats(document);
  return filled(
      words::kListTotals, language,
      {numberText(document.threats.size(), language), numberText(counts.of[kSeverityCritical], language),
       numberText(counts.of[kSeverityHigh], language), numberText(counts.of[kSeverityMedium], language)});
}

std::string emptyText(const ThreatList& list, const Look& look) {
  if (!list.scanHasRun) return words::kNoScanSinceStart.in(look.language);
  if (list.lastScanUtc == 0) return words::kListedNothing.in(look.language);
  return filled(words::kListedNothingSince, look.language, {timeText(list.lastScanUtc, look)});
}

}  // namespace

std::string renderThreats(const ThreatList& list, const Look& look, bool all) {
  if (look.mode == OutputMode::kCsv) return scanCsv(list.document);
  const auto line = [](const std::string& text) { return text + "\n"; };
  std::string text = scanRowsText(list.document, look, all);
  if (!text.empty()) text += "\n";
  if (list.scanRuns) text += line(words::kScanStillRuns.in(look.language));
  if (list.document.threats.empty() && !list.scanRuns) return text + line(emptyText(list, look));
  return text + line(totals(list.document, look.language));
}

nlohmann::ordered_json threatsJson(const ThreatList& list) {
  Json threats = Json::array(), events = Json::array();
  for (const ReportedThreat& threat : list.document.threats) threats.push_back(threatJson(threat));
  for (const ReportedEvent& event : list.document.events) events.push_back(eventJson(event));
  return {{"scan_has_run", list.scanHasRun},
          {"scan_running", list.scanRuns},
          {"last_scan_utc", jsonTime(list.lastScanUtc)},
          {"fail_on", severityName(list.document.failOn)},
          {"found", foundSomething(list.document)},
          {"threats", threats},
          {"events", events}};
}

}  // namespace korvel::ctl
