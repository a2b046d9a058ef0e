// The forms of a scan's report.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "korvelctl/render/html_text.h"
#include "korvelctl/cli/words/report_words.h"
#include "korvelctl/render/json_path.h"
#include "korvelctl/render/listing.h"
#include "korvelctl/render/progress.h"
#include "korvelctl/render/rule_text.h"
#include "korvelctl/render/scan_report.h"
#include "sample_documents.h"

namespace korvel::ctl {
namespace {

size_t countOf(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

bool holds(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST(ScanPage, EscapesEverythingThatComesFromFiles) {
  const std::string page = scanHtml(test::hostileScan(), Look{});
  EXPECT_FALSE(holds(page, "<script"));
  EXPECT_FALSE(holds(page, "<img"));
  EXPECT_FALSE(holds(page, "<svg"));
  EXPECT_FALSE(holds(page, "<u>"));
  EXPECT_FALSE(holds(page, "\x1b"));
  EXPECT_FALSE(holds(page, "\u202E"));
  EXPECT_TRUE(holds(page, "&lt;script&gt;alert(3)&lt;/script&gt;.exe"));
  EXPECT_TRUE(holds(page, "&amp;lt;detail"));
  EXPECT_TRUE(holds(page, "PC&quot;&gt;"));
}

TEST(ScanPage, CountsAFileOnceThatWasAlsoSeenInRealTime) {
  ScanDocument document = test::ordinaryScan();
  EXPECT_TRUE(holds(scanHtml(document, Look{}), ">3\u00A0threats found</h1>"));
  document.events.push_back(document.events[0]);
  document.events[1].event.path = L"C:\\other.exe";
  EXPECT_TRUE(holds(scanHtml(document, Look{}), ">4\u00A0threats found</h1>"));
}

TEST(ScanPage, NeedsNothingFromOutside) {
  const std::string page = scanHtml(test::ordinaryScan(), Look{});
  for (const char* part : {"http:", "https:", "src=", "href=", "url(", "@import", "<link", "<iframe"})
    EXPECT_FALSE(holds(page, part)) << part;
  EXPECT_TRUE(holds(page, "default-src 'none'"));
}

TEST(ScanPage, ClosesWhatItOpens) {
  for (const ScanDocument& document : {test::ordinaryScan(), test::hostileScan(), ScanDocument{}}) {
    const std::string page = scanHtml(document, Look{});
    for (const std::string tag :
         {"details", "summary", "ul", "li", "div", "p", "table", "tr", "td", "bdi", "dl", "main"}) {
      EXPECT_EQ(countOf(page, "<" + tag + ">") + countOf(page, "<" + tag + " "),
                countOf(page, "</" + tag + ">"))
          << tag;
    }
  }
}

TEST(ScanPage, OnlyACompletedScanMaySayThatThereAreNoThreats) {
  for (const ScanOutcome outcome : {ScanOutcome::kCancelled, ScanOutcome::kStopped, ScanOutcome::kFailed,
                                    ScanOutcome::kNothingExamined, ScanOutcome::kLost}) {
    ScanDocument document;
    document.outcome = outcome;
    EXPECT_FALSE(holds(scanHtml(document, Look{}), "No threats")) << outcomeName(outcome);
    EXPECT_TRUE(holds(scanHtml(document, Look{}), "class=\"head warn\"")) << outcomeName(outcome);
  }
  EXPECT_TRUE(holds(scanHtml(ScanDocument{}, Look{}), "No threats found"));
  EXPECT_TRUE(holds(scanHtml(ScanDocument{}, Look{}), "class=\"head good\""));
  EXPECT_TRUE(holds(scanHtml(test::ordinaryScan(), Look{}), "class=\"head bad\""));
}

TEST(ScanPage, ListsEveryThreatOfALongReport) {
  ScanDocument document;
  for (int i = 0; i < 5000; ++i) {
    ReportedThreat& threat = document.threats.emplace_back();
    threat.record.path = L"C:\\f" + std::to_wstring(i) + L".exe";
    threat.record.severity = i % 5;
    threat.record.code = "C";
  }
  const std::string page = scanHtml(document, Look{});
  EXPECT_EQ(countOf(page, "<bdi "), 5000u);
}

TEST(ScanJson, HoldsOutcomeCountsAndEveryThreat) {
  const nlohmann::ordered_json json = scanJson(test::ordinaryScan());
  EXPECT_EQ(json["outcome"], "completed");
  EXPECT_EQ(json["outcome_basis"], "files_done>=files_total");
  EXPECT_EQ(json["summary"]["files"], 20'114);
  EXPECT_EQ(json["threats"].size(), 44u);
  EXPECT_EQ(json["threats"][0]["state"], "quarantined");
  EXPECT_EQ(json["threats"][0]["reasons"][0]["code"], "SIG.MATCH");
  EXPECT_EQ(json["events"][0]["seen_utc"], "2025-11-21T04:39:30Z");
  EXPECT_EQ(json["found"], true);
}

TEST(ScanJson, MarksAPathThatUtf8CannotHold) {
  const nlohmann::ordered_json json = scanJson(test::hostileScan());
  EXPECT_FALSE(json["threats"][0].contains("path_lossy"));
  EXPECT_EQ(json["threats"][2]["path_lossy"], true);
  EXPECT_EQ(json["threats"][4]["size"], "18446744073709551615");
  EXPECT_EQ(json["threats"][4]["severity"], "unknown");
  EXPECT_EQ(json["threats"][5]["in_quarantine_store"], true);
}

TEST(WholeUtf16, WantsBothHalvesOfAPair) {
  const wchar_t high = 0xD83D, low = 0xDE00;
  EXPECT_TRUE(isWholeUtf16(L"C:\\a"));
  EXPECT_TRUE(isWholeUtf16(std::wstring{L'a', high, low, L'b'}));
  EXPECT_FALSE(isWholeUtf16(std::wstring{L'a', high}));
  EXPECT_FALSE(isWholeUtf16(std::wstring{low}));
  EXPECT_FALSE(isWholeUtf16(std::wstring{high, L'a'}));
  EXPECT_FALSE(isWholeUtf16(std::wstring{low, high}));
}

TEST(ScanCsv, HasOneRowForEachThreatAndEventAndNoFormula) {
  const std::string csv = scanCsv(test::hostileScan());
  EXPECT_TRUE(csv.starts_with("kind,n,severity,"));
  EXPECT_TRUE(holds(csv, "'=HYPERLINK"));
  EXPECT_TRUE(holds(csv, "stored_file,6,"));
  EXPECT_TRUE(holds(csv, "\nevent,,high,"));
  EXPECT_FALSE(csv.starts_with("\xEF\xBB\xBF"));
  EXPECT_TRUE(reportFile(test::hostileScan(), ReportForm::kCsv, Look{}).starts_with("\xEF\xBB\xBF"));
}

TEST(Listing, CsvKeepsTheCommaBehindAnEmptyFirstField) {
  Listing listing({{"a", words::kColumnFile}, {"b", words::kColumnFile}});
  listing.addRow({std::string(), std::string("x")});
  Look look;
  look.mode = OutputMode::kCsv;
  EXPECT_EQ(listing.text(look), "a,b\r\n,x\r\n");
}

TEST(ScanText, GroupsWhatIsMerelySuspiciousUnlessAllIsAskedFor) {
  const std::string some = scanText(test::ordinaryScan(), Look{}, /*all=*/false);
  EXPECT_FALSE(holds(some, "tool1.exe"));
  EXPECT_TRUE(holds(some, "PE.INJECTION_APIS  medium       34")) << some;
  EXPECT_TRUE(holds(scanText(test::ordinaryScan(), Look{}, /*all=*/true), "tool1.exe"));
}

TEST(ScanText, EndsWithASummaryThatIsSetOff) {
  EXPECT_TRUE(scanText(test::ordinaryScan(), Look{}, false)
                  .ends_with("\n\n" + scanSummaryText(test::ordinaryScan(), Look{})));
}

TEST(ScanReports, OfATrialRunSayThatNothingWasDoneAndNothingFailed) {
  ScanDocument document = test::ordinaryScan();
  for (ReportedThreat& threat : document.threats) {
    threat.action = "delete";
    threat.result = "dry_run";
  }
  EXPECT_FALSE(holds(scanText(document, Look{}, /*all=*/true), "failed"));
  const std::string page = scanHtml(document, Look{});
  EXPECT_FALSE(holds(page, "failed: dry_run")) << page;
  EXPECT_TRUE(holds(page, ": not done, this was a trial run"));
}

TEST(ScanText, SaysThatAScanWasCutShort) {
  for (const Language language : {Language::kEnglish, Language::kRussian}) {
    Look look;
    look.language = language;
    const std::string text = scanSummaryText(test::hostileScan(), look);
    EXPECT_TRUE(holds(text, language == Language::kEnglish ? "Scan cancelled" : "Сканирование отменено"))
        << text;
    EXPECT_TRUE(holds(text, language == Language::kEnglish ? "3 of 40" : "3 из 40")) << text;
  }
}

TEST(ReportForm, FollowsTheExtension) {
  EXPECT_EQ(reportFormOf("a.HTML"), ReportForm::kHtml);
  EXPECT_EQ(reportFormOf("C:\\x.y\\a.json"), ReportForm::kJson);
  EXPECT_EQ(reportFormOf("a.csv"), ReportForm::kCsv);
  EXPECT_EQ(reportFormOf("a.txt"), ReportForm::kText);
  EXPECT_EQ(reportFormOf("a.htm"), std::nullopt);
  EXPECT_EQ(reportFormOf("json"), std::nullopt);
}

TEST(ReportFile, JsonIsAWholeDocumentWithItsErrors) {
  const auto json = nlohmann::json::parse(reportFile(test::hostileScan(), ReportForm::kJson, Look{}));
  EXPECT_EQ(json["schema"], "korvel.scan/1");
  EXPECT_EQ(json["errors"][0]["win32"], 5);
}

TEST(Progress, TellsWhereItsPathIsNotExact) {
  ScanProgressInfo progress;
  progress.currentPath = L"C:\\a.exe";
  EXPECT_FALSE(progressJson(progress, true).contains("path_lossy"));
  progress.currentPath = {L'C', L':', L'\\', wchar_t{0xD800}};
  EXPECT_EQ(progressJson(progress, true)["path_lossy"], true);
}

TEST(Html, EscapesMarkUpAndControlCharacters) {
  EXPECT_EQ(html(std::string_view("<a href=\"x\">'&\x07")), "&lt;a href=&quot;x&quot;&gt;&#39;&amp;\uFFFD");
}

TEST(RuleText, AValueJustAboveItsLimitDoesNotLookEqual) {
  const RuleCheck rule{"PE.HIGH_ENTROPY", true, 2, {.value = 7.200001, .limit = 7.2}};
  EXPECT_EQ(ruleText(rule, Look{}), "highest section entropy 7.200001, limit > 7.2");
}

TEST(RuleText, ShowsTheTermsOfARuleThatItDoesNotKnow) {
  const RuleCheck rule{"X.NEW", false, 0, {.value = uint64_t{5}, .limit = 2.5}};
  EXPECT_EQ(ruleText(rule, Look{}), "value 5, limit 2.5");
}

}  // namespace
}  // namespace korvel::ctl
