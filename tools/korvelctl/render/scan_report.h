// A scan's report in every form. Pure and thread-safe. Texts from files are made safe for the form: printable
// on a terminal, escaped in HTML and CSV, unchanged in JSON.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "korvelctl/model/scan_report.h"
#include "korvelctl/render/look.h"

namespace korvel::ctl {

/// The fields of the document, without its schema and its errors. Lists everything.
nlohmann::ordered_json scanJson(const ScanDocument& document);
nlohmann::ordered_json threatJson(const ReportedThreat& threat);
nlohmann::ordered_json eventJson(const ReportedEvent& event);

/// One row for each threat and each event, with a title line. No byte-order mark.
std::string scanCsv(const ScanDocument& document);

/// The threats, then the suspicious files by rule (with `all` each of them), the events, and a summary set
/// off at the end.
std::string scanText(const ScanDocument& document, const Look& look, bool all);
/// Everything but the summary; empty when nothing was found.
std::string scanRowsText(const ScanDocument& document, const Look& look, bool all);
/// Only the summary.
std::string scanSummaryText(const ScanDocument& document, const Look& look);

/// One page without scripts and outside links. Only the language and the clock of `look` matter.
std::string scanHtml(const ScanDocument& document, const Look& look);

enum class ReportForm { kHtml, kJson, kCsv, kText };
/// By the extension of a file name, in any case; nothing for any other.
std::optional<ReportForm> reportFormOf(std::string_view fileName);
/// The content of a report file, UTF-8; CSV with a byte-order mark, because spreadsheets need it.
std::string reportFile(const ScanDocument& document, ReportForm form, const Look& look);

/// How a scan ended, and what that means: "Scan cancelled", "This client cancelled it...". The second is
/// empty for a completed one.
std::string outcomeText(ScanOutcome outcome, Language language);
std::string outcomeExplanation(ScanOutcome outcome, Language language);
std::string threatStateText(const ReportedThreat& threat, Language language);

}  // namespace korvel::ctl
