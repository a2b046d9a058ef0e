// The scan report as one page. It needs nothing from outside and runs nothing: what a file's name holds can
// at most be text in it.
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "korvelctl/cli/words/report_words.h"
#include "korvelctl/render/html_text.h"
#include "korvelctl/render/scan_html_style.h"
#include "korvelctl/render/scan_report.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {
namespace {

// Reasons of so many threats are shown at once; a longer list stays closed.
constexpr size_t kOpenedThreats = 20;

/// Severities off the scale are shown as the lowest, as they are counted.
Severity shownSeverity(Severity severity) {
  return severity >= kSeverityClean && severity <= kSeverityCritical ? severity : kSeverityClean;
}

std::string classOf(const char* letter, Severity severity) {
  return letter + std::to_string(shownSeverity(severity));
}

std::string element(const std::string& tag, const std::string& attributes, const std::string& content) {
  return "<" + tag + (attributes.empty() ? "" : " " + attributes) + ">" + content + "</" + tag + ">";
}

std::string pathSpan(const std::wstring& path) {
  // A name in a script that runs from right to left must not turn the rest of the path around.
  return element("bdi", "class=\"path\" dir=\"ltr\"", html(path));
}

class Page {
 public:
  Page(const ScanDocument& document, const Look& look)
      : document_(document), look_(look), language_(look.language), counts_(countThreats(document)) {}

  std::string text() const {
    return "<!doctype html>\n<html lang=\"" + std::string(language_ == Language::kRussian ? "ru" : "en") +
           "\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<meta name=\"color-scheme\" content=\"light dark\">\n"
           "<meta name=\"referrer\" content=\"no-referrer\">\n"
           "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
           "style-src 'unsafe-inline'; form-action 'none'; base-uri 'none'\">\n" +
           element("title", "", html(title())) + "\n<style>" + kScanHtmlStyle +
           "</style>\n</head>\n<body>\n<main>\n" + head() + facts() + severities() + threats() +
           suspicious() + stored() + events() + errors() + targets() + footer() +
           "</main>\n</body>\n</html>\n";
  }

 private:
  std::string say(const Text& text) const { return html(std::string_view(text.in(language_))); }

  std::string title() const {
    std::string title = words::kReportTitle.in(language_);
    if (!document_.host.empty()) title += ": " + document_.host;
    return title;
  }

  std::string heading(const Text& text, uint64_t count) const {
    return element("h2", "", say(text) + " " + element("span", "", html(numberText(count, language_)))) +
           "\n";
  }

  /// Files that were detected in real time and are not among the listed threats.
  uint64_t otherDangerousFiles() const {
    std::set<std::wstring_view> known;
    for (const ReportedThreat& threat : document_.threats) known.insert(threat.record.path);
    uint64_t count = 0;
    for (const ReportedEvent& seen : document_.events) {
      if (seen.inQuarantineStore || seen.event.severity < kSeverityHigh) continue;
      count += known.insert(seen.event.path).second ? 1 : 0;
    }
    return count;
  }

  std::string head() const {
    const uint64_t found = counts_.atLeast(kSeverityHigh) + otherDangerousFiles();
    const bool completed = document_.outcome == ScanOutcome::kCompleted;
    std::string headline = outcomeText(document_.outcome, language_);
    if (found > 0) {
      headline = countText(found, words::kThreatsFound, language_);
    } else if (completed) {
      headline = words::kNoThreats.in(language_);
    }
    std::string lines = element("p", "class=\"kicker\"", html(title())) + element("h1", "", html(headline));
    if (found > 0 || completed) lines += element("p", "", html(outcomeText(document_.outcome, language_)));
    if (const std::string why = outcomeExplanation(document_.outcome, language_); !why.empty())
      lines += element("p", "class=\"soft\"", html(why));
    const char* kind = found > 0 ? "bad" : completed ? "good" : "warn";
    return element("header", std::string("class=\"head ") + kind + "\"", lines) + "\n";
  }

  std::string facts() const {
    std::string list;
    const auto add = [&](const Text& name, const std::string& value) {
      if (!value.empty())
        list += element("div", "", element("dt", "", say(name)) + element("dd", "", html(value)));
    };
    std::string files = numberText(document_.filesExamined, language_);
    if (document_.filesTotal > document_.filesExamined)
      files = filled(words::kSummaryOf, language_, {files, numberText(document_.filesTotal, language_)});
    const std::optional<double> speed = scanSpeed(document_);
    add(words::kFactFiles, files);
    add(words::kFactSize, bytesText(document_.bytesExamined, language_));
    add(words::kFactDuration, durationText(document_.elapsedMs, language_));
    add(words::kFactSpeed, speed ? speedText(*speed, language_) : std::string());
    add(words::kFactDatabase, document_.signatureCount == 0 ? std::string(words::kNoneOfThem.in(language_))
                                                            : document_.signatureVersion);
    add(words::kFactSignatures,
        document_.signatureCount == 0 ? std::string() : numberText(document_.signatureCount, language_));
    add(words::kFactDatabaseAge,
        document_.lastLiveUpdateUtc == 0 ? std::string() : timeText(document_.lastLiveUpdateUtc, look_));
    add(words::kFactStarted,
        document_.startedUtc == 0 ? std::string() : timeText(document_.startedUtc, look_));
    add(words::kFactComputer, document_.host);
    add(words::kFactScope, scope());
    return element("dl", "class=\"facts\"", list) + "\n";
  }

  std::string scope() const {
    if (document_.scope == "quick") return words::kScopeQuick.in(language_);
    if (document_.scope == "full") return words::kScopeFull.in(language_);
    if (document_.scope == "user") return words::kScopeUser.in(language_);
    return words::kScopeCustom.in(language_);
  }

  std::string targets() const {
    if (document_.targets.empty()) return {};
    std::string list;
    for (const std::wstring& target : document_.targets) list += element("li", "", pathSpan(target));
    return heading(words::kTargets, document_.targets.size()) +
           element("div", "class=\"plain\"", element("ul", "class=\"files\"", list)) + "\n";
  }

  std::string severities() const {
    const uint64_t all = counts_.atLeast(kSeverityClean);
    if (all == 0) return {};
    std::string bar;
    std::string key;
    for (Severity severity = kSeverityCritical; severity >= kSeverityClean; --severity) {
      const uint64_t count = counts_.of[static_cast<size_t>(severity)];
      if (count == 0) continue;
      const std::string name = severityText(severity, language_);
      bar += element(
          "i", "class=\"" + classOf("b", severity) + "\" style=\"flex-grow:" + std::to_string(count) + "\"",
          "");
      key += element(
          "li", "class=\"" + classOf("c", severity) + "\"",
          element("span", "", html(name) + " " + element("b", "", html(numberText(count, language_)))));
    }
    return heading(words::kBySeverity, all) + element("div", "class=\"bar\" aria-hidden=\"true\"", bar) +
           element("ul", "class=\"key\"", key) + "\n";
  }

  std::string reasons(const ReportedThreat& threat) const {
    const ThreatRecord& record = threat.record;
    std::string list;
    for (const Finding& finding : record.reasons) {
      std::string item =
          element("b", "class=\"" + classOf("c", finding.severity) + "\"", html(finding.title)) + " " +
          element("code", "class=\"soft\"", html(finding.code));
      if (!finding.detail.empty()) item += "<br>" + html(finding.detail);
      list += element("li", "", item);
    }
    std::string text = list.empty() ? "" : element("ul", "", list);
    text +=
        element("p", "class=\"soft\"", say(words::kSize) + ": " + html(bytesText(record.size, language_)));
    if (!record.sha256.empty())
      text += element("p", "class=\"soft\"", "SHA-256: " + element("code", "", html(record.sha256)));
    if (const std::string decided = decision(threat); !decided.empty())
      text += element("p", "class=\"soft\"", say(words::kDecision) + ": " + html(decided));
    return text;
  }

  std::string decision(const ReportedThreat& threat) const {
    if (threat.action.empty()) return {};
    if (threat.action == "report") return words::kDecisionReport.in(language_);
    std::string action =
        (threat.action == "delete" ? words::kActionDelete : words::kActionQuarantine).in(language_);
    if (threat.result.empty()) return action;
    if (threat.result == "ok") return filled(words::kDecisionOk, language_, {action});
    if (threat.result == "dry_run") return filled(words::kDecisionDryRun, language_, {action});
    return filled(words::kActionFailed, language_, {action, threat.result});
  }

  std::string threatBlock(const ReportedThreat& threat, bool open) const {
    const Severity severity = threat.record.severity;
    const std::string summary = element("span", "class=\"level " + classOf("c", severity) + "\"",
                                        html(severityText(severity, language_))) +
                                element("b", "", html(threat.record.name)) +
                                element("span", "class=\"state\"", html(threatStateText(threat, language_))) +
                                pathSpan(threat.record.path);
    return element("details", open ? "open" : "",
                   element("summary", "", summary) + element("div", "class=\"inside\"", reasons(threat))) +
           "\n";
  }

  std::string threats() const {
    std::vector<const ReportedThreat*> listed;
    for (Severity severity = kSeverityCritical; severity >= kSeverityHigh; --severity) {
      for (const ReportedThreat& threat : document_.threats) {
        if (!threat.inQuarantineStore && threat.record.severity == severity) listed.push_back(&threat);
      }
    }
    if (listed.empty()) return {};
    std::string text = heading(words::kHeadThreats, listed.size());
    for (const ReportedThreat* threat : listed) text += threatBlock(*threat, listed.size() <= kOpenedThreats);
    return text;
  }

  /// One closed block for each rule, with its files.
  std::string groups(const std::vector<FindingGroup>& groups) const {
    std::string text;
    for (const FindingGroup& group : groups) {
      std::string list;
      for (const size_t at : group.threats) {
        const ReportedThreat& threat = document_.threats[at];
        std::string item = pathSpan(threat.record.path);
        if (threat.state != ThreatState::kPresent)
          item += " " + element("span", "class=\"state\"", html(threatStateText(threat, language_)));
        list += element("li", "", item);
      }
      const ThreatRecord& first = document_.threats[group.threats.front()].record;
      const std::string name = first.reasons.empty() ? first.name : first.reasons.front().title;
      const std::string summary = element("span", "class=\"level " + classOf("c", group.severity) + "\"",
                                          html(severityText(group.severity, language_))) +
                                  element("b", "", html(name)) +
                                  element("span", "class=\"state\"",
                                          html(countText(group.threats.size(), words::kFiles, language_))) +
                                  element("code", "class=\"path\"", html(group.code));
      text += element("details", "",
                      element("summary", "", summary) +
                          element("div", "class=\"inside\"", element("ul", "class=\"files\"", list))) +
              "\n";
    }
    return text;
  }

  std::string suspicious() const {
    std::string text;
    if (const auto medium = groupByCode(document_, kSeverityMedium, kSeverityMedium); !medium.empty())
      text += heading(words::kHeadSuspicious, counts_.of[kSeverityMedium]) +
              element("p", "class=\"soft\"", say(words::kSuspiciousNote)) + groups(medium);
    // Off the scale, or what a newer service lists.
    std::vector<FindingGroup> others = groupByCode(document_, INT32_MIN, kSeverityLow);
    for (FindingGroup& group : groupByCode(document_, kSeverityCritical + 1, INT32_MAX))
      others.push_back(std::move(group));
    if (!others.empty())
      text +=
          heading(words::kHeadOther, counts_.of[kSeverityClean] + counts_.of[kSeverityLow]) + groups(others);
    return text;
  }

  std::string stored() const {
    std::string list;
    uint64_t count = 0;
    for (const ReportedThreat& threat : document_.threats) {
      if (!threat.inQuarantineStore) continue;
      ++count;
      list += element("li", "", pathSpan(threat.record.path));
    }
    if (count == 0) return {};
    return heading(words::kHeadStored, count) + element("p", "class=\"soft\"", say(words::kStoredNote)) +
           element("div", "class=\"plain\"", element("ul", "class=\"files\"", list)) + "\n";
  }

  std::string events() const {
    if (document_.events.empty()) return {};
    std::string rows = element(
        "tr", "",
        element("th", "", say(words::kColumnSeen)) + element("th", "", say(words::kColumnSeverity)) +
            element("th", "", say(words::kColumnThreat)) + element("th", "", say(words::kColumnFile)));
    for (const ReportedEvent& seen : document_.events) {
      const Severity severity = seen.event.severity;
      rows += element("tr", "",
                      element("td", "class=\"time\"", html(timeText(seen.seenUtc, look_))) +
                          element("td", "class=\"" + classOf("c", severity) + "\"",
                                  html(severityText(severity, language_))) +
                          element("td", "", html(seen.event.name)) +
                          element("td", "class=\"path\"", pathSpan(seen.event.path)));
    }
    return heading(words::kHeadEvents, document_.events.size()) +
           element("div", "class=\"plain\"", element("table", "", rows)) + "\n";
  }

  std::string errors() const {
    if (document_.errors.empty()) return {};
    std::string list;
    for (const ItemError& error : document_.errors) {
      std::string item = element("code", "", html(error.item)) + ": " + html(error.message);
      if (error.win32) item += " (win32=" + std::to_string(*error.win32) + ")";
      list += element("li", "", item);
    }
    return heading(words::kHeadErrors, document_.errors.size()) +
           element("div", "class=\"plain\"", element("ul", "class=\"files\"", list)) + "\n";
  }

  std::string footer() const {
    const std::string service =
        document_.serviceVersion.empty() ? words::kFooterService.in(language_) : document_.serviceVersion;
    std::string text =
        element("p", "",
                html(filled(words::kFooterMade, language_, {"korvelctl " + document_.toolVersion, service})));
    if (!document_.commandLine.empty())
      text += element("p", "",
                      say(words::kFooterCommand) + " " + element("code", "", html(document_.commandLine)));
    text += element("p", "", say(look_.localTime != nullptr ? words::kFooterTimes : words::kFooterTimesUtc));
    return element("footer", "", text) + "\n";
  }

  const ScanDocument& document_;
  const Look& look_;
  const Language language_;
  const SeverityCounts counts_;
};

}  // namespace

std::string scanHtml(const ScanDocument& document, const Look& look) { return Page(document, look).text(); }

}  // namespace korvel::ctl
