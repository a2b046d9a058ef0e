#include "korvelctl/render/scan_report.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "base/text.h"
#include "base/utf.h"
#include "korvelctl/cli/words/report_words.h"
#include "korvelctl/render/json_path.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/listing.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/texts.h"
#include "korvelctl/render/wrap.h"

namespace korvel::ctl {
namespace {

constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

Json findingJson(const Finding& finding) {
  return Json{{"severity", severityName(finding.severity)},
              {"code", finding.code},
              {"title", finding.title},
              {"detail", finding.detail}};
}

std::string csvRow(const std::vector<std::string>& fields) {
  std::string row;
  for (const std::string& field : fields) {
    if (&field != &fields.front()) row += ',';
    row += csvField(field);
  }
  return row + "\r\n";
}

std::string actionText(const ReportedThreat& threat, Language language) {
  return (threat.action == "delete" ? words::kActionDelete : words::kActionQuarantine).in(language);
}

bool failed(const ReportedThreat& threat) {
  return !threat.result.empty() && threat.result != "ok" && threat.result != "dry_run";
}

std::string reasonText(const Finding& finding, Language language) {
  std::string text = printable(finding.code) + " (" + severityText(finding.severity, language) +
                     "): " + printable(finding.title);
  if (!finding.detail.empty()) text += ". " + printable(finding.detail);
  return text;
}

/// `least` to `most` one by one, with their reasons.
std::string threatRows(const ScanDocument& document, Severity least, const Look& look) {
  const Language language = look.language;
  Listing listing({{"n", words::kColumnNumber, Listing::Kind::kNumber},
                   {"severity", words::kColumnSeverity},
                   {"name", words::kColumnThreat},
                   {"state", words::kColumnState},
                   {"path", words::kColumnFile, Listing::Kind::kPath}});
  for (const ReportedThreat& threat : document.threats) {
    if (!threat.inQuarantineStore && threat.record.severity < least) continue;
    Listing::Cell severity(severityText(threat.record.severity, language));
    severity.severity = threat.record.severity;
    listing.addRow({std::to_string(threat.number), std::move(severity), printable(threat.record.name),
                    threatStateText(threat, language), printable(threat.record.path)});
    if (threat.inQuarantineStore) continue;
    for (const Finding& finding : threat.record.reasons) listing.addNote(reasonText(finding, language));
    if (failed(threat))
      listing.addNote(
          filled(words::kActionFailed, language, {actionText(threat, language), printable(threat.result)}));
  }
  return listing.text(look);
}

std::string groupRows(const ScanDocument& document, const Look& look) {
  const std::vector<FindingGroup> groups = groupByCode(document, kSeverityClean, kSeverityMedium);
  if (groups.empty()) return {};
  Listing listing({{"code", words::kColumnRule},
                   {"severity", words::kColumnSeverity},
                   {"files", words::kColumnFiles, Listing::Kind::kNumber}});
  for (const FindingGroup& group : groups) {
    Listing::Cell severity(severityText(group.severity, look.language));
    severity.severity = group.severity;
    listing.addRow(
        {printable(group.code), std::move(severity), numberText(group.threats.size(), look.language)});
  }
  return std::string(words::kSuspiciousByRule.in(look.language)) + "\n" + listing.text(look);
}

std::string eventRows(const ScanDocument& document, const Look& look) {
  if (document.events.empty()) return {};
  Listing listing({{"seen_utc", words::kColumnSeen},
                   {"severity", words::kColumnSeverity},
                   {"name", words::kColumnThreat},
                   {"path", words::kColumnFile, Listing::Kind::kPath}});
  for (const ReportedEvent& seen : document.events) {
    Listing::Cell severity(severityText(seen.event.severity, look.language));
    severity.severity = seen.event.severity;
    listing.addRow({timeText(seen.seenUtc, look), std::move(severity), printable(seen.event.name),
                    printable(seen.event.path)});
  }
  return std::string(words::kRealTimeEvents.in(look.language)) + "\n" + listing.text(look);
}

std::string filesText(const ScanDocument& document, Language language) {
  std::string done = countText(document.filesExamined, words::kFiles, language);
  if (document.filesTotal <= document.filesExamined) return done;
  return filled(words::kSummaryOf, language,
                {numberText(document.filesExamined, language),
                 countText(document.filesTotal, words::kFiles, language)});
}

std::string tookText(const ScanDocument& document, Language language) {
  const std::string outcome = outcomeText(document.outcome, language);
  const std::string took = document.elapsedMs < 60'000 ? durationText(document.elapsedMs, language)
                                                       : clockText(document.elapsedMs / 1000);
  const std::string files = filesText(document, language);
  const std::string bytes = bytesText(document.bytesExamined, language);
  const std::optional<double> speed = scanSpeed(document);
  if (!speed) return filled(words::kSummaryTookNoSpeed, language, {outcome, took, files, bytes});
  return filled(words::kSummaryTook, language, {outcome, took, files, bytes, speedText(*speed, language)});
}

uint64_t storedFiles(const ScanDocument& document) {
  uint64_t count = 0;
  for (const ReportedThreat& threat : document.threats) count += threat.inQuarantineStore ? 1 : 0;
  return count;
}

}  // namespace

std::string outcomeText(ScanOutcome outcome, Language language) {
  switch (outcome) {
    case ScanOutcome::kCompleted:
      return words::kScanCompleted.in(language);
    case ScanOutcome::kCancelled:
      return words::kScanCancelled.in(language);
    case ScanOutcome::kStopped:
      return words::kScanStopped.in(language);
    case ScanOutcome::kFailed:
      return words::kScanFailed.in(language);
    case ScanOutcome::kNothingExamined:
      return words::kScanNothing.in(language);
    case ScanOutcome::kLost:
      break;
  }
  return words::kScanLost.in(language);
}

std::string outcomeExplanation(ScanOutcome outcome, Language language) {
  switch (outcome) {
    case ScanOutcome::kCompleted:
      return {};
    case ScanOutcome::kCancelled:
      return words::kScanCancelledWhy.in(language);
    case ScanOutcome::kStopped:
      return words::kScanStoppedWhy.in(language);
    case ScanOutcome::kFailed:
      return words::kScanFailedWhy.in(language);
    case ScanOutcome::kNothingExamined:
      return words::kScanNothingWhy.in(language);
    case ScanOutcome::kLost:
      break;
  }
  return words::kScanLostWhy.in(language);
}

std::string threatStateText(const ReportedThreat& threat, Language language) {
  if (threat.inQuarantineStore) return words::kStateStored.in(language);
  switch (threat.state) {
    case ThreatState::kPresent:
      return words::kStatePresent.in(language);
    case ThreatState::kQuarantined:
      return words::kStateQuarantined.in(language);
    case ThreatState::kDeleted:
      return words::kStateDeleted.in(language);
    case ThreatState::kMissing:
      break;
  }
  return words::kStateMissing.in(language);
}

Json threatJson(const ReportedThreat& threat) {
  const ThreatRecord& record = threat.record;
  Json reasons = Json::array();
  for (const Finding& finding : record.reasons) reasons.push_back(findingJson(finding));
  Json json{{"n", threat.number}};
  putPath(json, "path", record.path);
  json.update(Json{{"name", record.name},
                   {"code", record.code},
                   {"severity", severityName(record.severity)},
                   {"size", jsonNumber(record.size)},
                   {"sha256", record.sha256},
                   {"reasons", std::move(reasons)},
                   {"labels", record.labels},
                   {"action", threat.action},
                   {"result", threat.result},
                   {"state", threatStateName(threat.state)}});
  if (threat.inQuarantineStore) json["in_quarantine_store"] = true;
  return json;
}

Json eventJson(const ReportedEvent& seen) {
  Json json = Json::object();
  putPath(json, "path", seen.event.path);
  json.update(Json{{"name", seen.event.name},
                   {"code", seen.event.code},
                   {"severity", severityName(seen.event.severity)},
                   {"size", jsonNumber(seen.event.size)},
                   {"seen_utc", jsonTime(seen.seenUtc)}});
  if (seen.inQuarantineStore) json["in_quarantine_store"] = true;
  return json;
}

Json scanJson(const ScanDocument& document) {
  Json targets = Json::array();
  bool lossy = false;
  for (const std::wstring& target : document.targets) {
    targets.push_back(toUtf8(target));
    lossy = lossy || !isWholeUtf16(target);
  }
  Json threats = Json::array();
  for (const ReportedThreat& threat : document.threats) threats.push_back(threatJson(threat));
  Json events = Json::array();
  for (const ReportedEvent& event : document.events) events.push_back(eventJson(event));

  Json json{{"tool", "korvelctl " + document.toolVersion},
            {"service", document.serviceVersion},
            {"host", document.host},
            {"scope", document.scope},
            {"targets", std::move(targets)}};
  if (lossy) json["targets_lossy"] = true;
  json.update(Json{{"started_utc", jsonTime(document.startedUtc)},
                   {"elapsed_ms", jsonNumber(document.elapsedMs)},
                   {"outcome", outcomeName(document.outcome)},
                   {"outcome_basis", document.outcomeBasis},
                   {"fail_on", severityName(document.failOn)},
                   {"found", foundSomething(document)},
                   {"database",
                    {{"count", jsonNumber(document.signatureCount)},
                     {"version", document.signatureVersion},
                     {"last_live_update_utc", jsonTime(document.lastLiveUpdateUtc)}}},
                   {"summary",
                    {{"files", jsonNumber(document.filesExamined)},
                     {"files_total", jsonNumber(document.filesTotal)},
                     {"bytes", jsonNumber(document.bytesExamined)},
                     {"threats", jsonNumber(document.threatCount)},
                     {"suspicious", jsonNumber(document.suspiciousCount)},
                     {"cancelled_flag_from_service", document.cancelledFlag}}},
                   {"threats", std::move(threats)},
                   {"events", std::move(events)}});
  return json;
}

std::string scanCsv(const ScanDocument& document) {
  std::string text = csvRow({"kind", "n", "severity", "name", "code", "size", "path", "sha256", "action",
                             "result", "state", "seen_utc"});
  for (const ReportedThreat& threat : document.threats) {
    const ThreatRecord& record = threat.record;
    text += csvRow({threat.inQuarantineStore ? "stored_file" : "threat", std::to_string(threat.number),
                    severityName(record.severity), record.name, record.code, std::to_string(record.size),
                    toUtf8(record.path), record.sha256, threat.action, threat.result,
                    threatStateName(threat.state), ""});
  }
  for (const ReportedEvent& seen : document.events) {
    text += csvRow({"event", "", severityName(seen.event.severity), seen.event.name, seen.event.code,
                    std::to_string(seen.event.size), toUtf8(seen.event.path), "", "", "", "",
                    seen.seenUtc == 0 ? "" : isoUtc(seen.seenUtc)});
  }
  return text;
}

std::string scanSummaryText(const ScanDocument& document, const Look& look) {
  const Language language = look.language;
  std::string text = wrapped(tookText(document, language), look.columns);
  if (const std::string why = outcomeExplanation(document.outcome, language); !why.empty())
    text += wrapped(why, look.columns, "  ");
  const std::string database =
      document.signatureCount == 0
          ? words::kSummaryNoDatabase.in(language)
          : filled(words::kSummaryDatabase, language,
                   {countText(document.signatureCount, words::kSignaturesNoun, language),
                    printable(document.signatureVersion)});
  text += wrapped(database, look.columns);

  const SeverityCounts counts = countThreats(document);
  const uint64_t threats = counts.atLeast(kSeverityHigh);
  std::string line = filled(
      words::kSummaryThreats, language,
      {numberText(threats, language), numberText(counts.of[kSeverityCritical], language),
       numberText(counts.of[kSeverityHigh], language), numberText(counts.of[kSeverityMedium], language)});
  if (threats > 0)
    line = colored(line, counts.of[kSeverityCritical] > 0 ? kSeverityCritical : kSeverityHigh, look);
  text += line + "\n";
  if (const uint64_t stored = storedFiles(document); stored > 0)
    text += wrapped(filled(words::kSummaryStored, language, {numberText(stored, language)}), look.columns);
  text += wrapped(filled(words::kSummaryEvents, language, {numberText(document.events.size(), language)}),
                  look.columns);
  if (!document.errors.empty())
    text += filled(words::kSummaryErrors, language, {numberText(document.errors.size(), language)}) + "\n";
  return text;
}

std::string scanRowsText(const ScanDocument& document, const Look& look, bool all) {
  std::string text = threatRows(document, all ? kSeverityClean : kSeverityHigh, look);
  const auto add = [&text](const std::string& part) {
    if (!part.empty() && !text.empty()) text += "\n";
    text += part;
  };
  if (!all) add(groupRows(document, look));
  add(eventRows(document, look));
  return text;
}

std::string scanText(const ScanDocument& document, const Look& look, bool all) {
  const std::string rows = scanRowsText(document, look, all);
  return rows + (rows.empty() ? "" : "\n") + scanSummaryText(document, look);
}

std::optional<ReportForm> reportFormOf(std::string_view fileName) {
  static constexpr std::pair<std::string_view, ReportForm> kForms[] = {{".html", ReportForm::kHtml},
                                                                       {".json", ReportForm::kJson},
                                                                       {".csv", ReportForm::kCsv},
                                                                       {".txt", ReportForm::kText}};
  const std::string lower = lowerAscii(fileName);
  for (const auto& [extension, form] : kForms) {
    if (lower.ends_with(extension)) return form;
  }
  return std::nullopt;
}

std::string reportFile(const ScanDocument& document, ReportForm form, const Look& look) {
  switch (form) {
    case ReportForm::kHtml:
      return scanHtml(document, look);
    case ReportForm::kJson: {
      Json json{{"schema", "korvel.scan/1"}};
      json.update(scanJson(document));
      json["errors"] = Json::array();
      for (const ItemError& error : document.errors) json["errors"].push_back(errorJson(error));
      return jsonText(json);
    }
    case ReportForm::kCsv:
      return kByteOrderMark + scanCsv(document);
    case ReportForm::kText:
      break;
  }
  Look plain = look;
  plain.columns = 0;
  plain.colors = false;
  plain.mode = OutputMode::kTable;
  return scanText(document, plain, /*all=*/true);
}

}  // namespace korvel::ctl
