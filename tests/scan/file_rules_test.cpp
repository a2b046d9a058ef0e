#include "scan/file_rules.h"

#include <gtest/gtest.h>

#include "base/paths.h"
#include "base/utf.h"

namespace korvel {
namespace {

using Reasons = std::vector<std::string>;

const Finding kDownloaded = {2, "FS.DOWNLOADED_EXE", "Исполняемый файл из папки загрузок",
                             "Программы, скачанные из интернета, стоит проверять до запуска"};

Finding impersonation(const std::string& name) {
  return {3, "FS.IMPERSONATE", "Маскируется под системный процесс",
          "Файл " + name +
              " лежит вне системного каталога, хотя так называются только штатные компоненты Windows"};
}

Finding doubleExtension(const std::string& name) {
  return {3, "FS.DOUBLE_EXT", "Двойное расширение",
          "Имя " + name + " маскирует исполняемый файл под документ или картинку"};
}

SignatureMatch listed(Severity severity) {
  return {"Win.Trojan.Generic", "Generic", severity, "", std::string(64, 'a')};
}

FileVerdict verdictFor(const std::wstring& path, const PeAnalysis& pe = {}, bool matched = false,
                       const SignatureMatch& match = {}) {
  return buildVerdict(path, fileName(path), 1000, 42, hash::FileDigests{}, pe, matched, match);
}

std::vector<std::string> codesFor(const std::wstring& path) {
  std::vector<std::string> codes;
  for (const Finding& finding : verdictFor(path).findings) codes.push_back(finding.code);
  return codes;
}

PeAnalysis withFindings(std::vector<Finding> findings) {
  PeAnalysis pe;
  pe.info.isPe = true;
  pe.findings = std::move(findings);
  return pe;
}

TEST(BuildVerdict, CopiesTheFileDataAndDigests) {
  hash::FileDigests digests;
  digests.md5.fill(0x0F);
  digests.sha1.fill(0xA1);
  digests.sha256.fill(0xB2);
  const FileVerdict verdict = buildVerdict(L"C:\\a\\Tool.EXE", L"Tool.EXE", 5'000'000'000,
                                           133'000'000'000'000'000, digests, {}, false, {});
  EXPECT_EQ(verdict.path, L"C:\\a\\Tool.EXE");
  EXPECT_EQ(verdict.fileName, L"Tool.EXE");
  EXPECT_EQ(verdict.size, 5'000'000'000u);
  EXPECT_EQ(verdict.lastWriteTime, 133'000'000'000'000'000u);
  EXPECT_EQ(verdict.md5, "0f0f0f0f0f0f0f0f0f0f0f0f0f0f0f0f");
  EXPECT_EQ(verdict.sha1, "a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1a1");
  EXPECT_EQ(verdict.sha256, "b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2b2");
}

TEST(BuildVerdict, DigestsThatWereNotComputedHaveNoText) {
  const FileVerdict verdict =
      buildVerdict(L"C:\\a\\Tool.EXE", L"Tool.EXE", 1, 2, /*digests=*/std::nullopt, {}, false, {});
  EXPECT_EQ(verdict.md5, "");
  EXPECT_EQ(verdict.sha1, "");
  EXPECT_EQ(verdict.sha256, "");
}

TEST(BuildVerdict, OfACleanFileIsClean) {
  const FileVerdict verdict = verdictFor(L"C:\\work\\tool.exe");
  EXPECT_TRUE(verdict.findings.empty());
  EXPECT_TRUE(verdict.reasons.empty());
  EXPECT_EQ(verdict.severity, 0);
  EXPECT_FALSE(verdict.signatureMatched);
  EXPECT_EQ(verdict.threatSeverity, 3);
  EXPECT_EQ(verdict.threatName, "");
}

TEST(BuildVerdict, CopiesThePeSummary) {
  PeAnalysis pe;
  pe.info.isPe = true;
  pe.info.entropy = 5.5;
  pe.info.maxSectionEntropy = 6.5;
  pe.info.sectionCount = 7;
  pe.info.importCount = 8;
  pe.info.hasDebug = true;
  FileVerdict verdict = verdictFor(L"C:\\a\\b.exe", pe);
  EXPECT_TRUE(verdict.isPe);
  EXPECT_EQ(verdict.peEntropy, 5.5);
  EXPECT_EQ(verdict.peMaxSectionEntropy, 6.5);
  EXPECT_EQ(verdict.peSectionCount, 7);
  EXPECT_EQ(verdict.peImportCount, 8);
  EXPECT_TRUE(verdict.peHasDebug);
  EXPECT_FALSE(verdict.peHasResources);

  pe.info.hasDebug = false;
  pe.info.hasResources = true;
  verdict = verdictFor(L"C:\\a\\b.exe", pe);
  EXPECT_FALSE(verdict.peHasDebug);
  EXPECT_TRUE(verdict.peHasResources);
}

TEST(BuildVerdict, IsPackedByTheMarkOrByAPackersName) {
  PeAnalysis pe;
  EXPECT_FALSE(verdictFor(L"C:\\a\\b.exe", pe).packed);
  pe.info.packed = true;
  EXPECT_TRUE(verdictFor(L"C:\\a\\b.exe", pe).packed);
  pe.info.packed = false;
  pe.packer = "UPX";
  EXPECT_TRUE(verdictFor(L"C:\\a\\b.exe", pe).packed);
}

TEST(SignatureRule, CopiesTheMatchAndTellsTheLevel) {
  SignatureMatch match = listed(kSeverityCritical);
  const FileVerdict verdict = verdictFor(L"C:\\a\\b.exe", {}, true, match);
  EXPECT_TRUE(verdict.signatureMatched);
  EXPECT_EQ(verdict.threatName, "Win.Trojan.Generic");
  EXPECT_EQ(verdict.family, "Generic");
  EXPECT_EQ(verdict.threatSeverity, 4);
  EXPECT_EQ(verdict.reference, "");
  EXPECT_EQ(verdict.matchedHash, std::string(64, 'a'));
  EXPECT_EQ(
      verdict.findings,
      (std::vector<Finding>{{4, "SIG.MATCH", "Обнаружено в базе: Win.Trojan.Generic", "Уровень: critical"}}));
  EXPECT_EQ(verdict.severity, 4);
  EXPECT_EQ(verdict.reasons, Reasons{"Точное совпадение в базе угроз"});

  match.reference = "https://example.org/x";
  const FileVerdict referring = verdictFor(L"C:\\a\\b.exe", {}, true, match);
  EXPECT_EQ(referring.findings.at(0).detail, "Уровень: critical, ссылка: https://example.org/x");
  EXPECT_EQ(referring.reference, "https://example.org/x");
}

TEST(SignatureRule, NamesEachLevel) {
  const std::pair<Severity, const char*> levels[] = {
      {0, "clean"}, {1, "low"}, {2, "medium"}, {3, "high"}, {9, "unknown"}};
  for (const auto& [severity, name] : levels) {
    const FileVerdict verdict = verdictFor(L"C:\\a\\b.exe", {}, true, listed(severity));
    EXPECT_EQ(verdict.findings.at(0).detail, std::string("Уровень: ") + name);
    EXPECT_EQ(verdict.findings.at(0).severity, severity);
    EXPECT_EQ(verdict.severity, severity);
  }
}

TEST(SignatureRule, OfAnUnknownLevelLeavesTheVerdictAtZeroWithAFinding) {
  const FileVerdict verdict = verdictFor(L"C:\\a\\b.exe", {}, true, listed(kSeverityClean));
  EXPECT_EQ(verdict.severity, 0);
  EXPECT_EQ(verdict.findings.size(), 1u);
  EXPECT_EQ(verdict.reasons, Reasons{"Точное совпадение в базе угроз"});
  EXPECT_TRUE(verdict.signatureMatched);
}

TEST(SignatureRule, WithoutAHitAMatchIsCopiedButJudgesNothing) {
  const FileVerdict verdict = verdictFor(L"C:\\a\\b.exe", {}, /*matched=*/false, listed(kSeverityCritical));
  EXPECT_FALSE(verdict.signatureMatched);
  EXPECT_EQ(verdict.threatName, "Win.Trojan.Generic");
  EXPECT_EQ(verdict.threatSeverity, 4);
  EXPECT_EQ(verdict.matchedHash, std::string(64, 'a'));
  EXPECT_TRUE(verdict.findings.empty());
  EXPECT_TRUE(verdict.reasons.empty());
  EXPECT_EQ(verdict.severity, 0);
}

TEST(PeRule, CopiesFindingsInOrderAndTakesTheHighest) {
  const std::vector<Finding> findings = {{1, "PE.A", "a", "x"}, {3, "PE.B", "b", "y"}, {2, "PE.C", "c", "z"}};
  const FileVerdict verdict = verdictFor(L"C:\\a\\b.exe", withFindings(findings));
  EXPECT_EQ(verdict.findings, findings);
  EXPECT_EQ(verdict.severity, 3);
}

TEST(Reasons, OfPeFindingsAreTheTitlesOfTheHighestOnes) {
  const FileVerdict verdict =
      verdictFor(L"C:\\a\\b.exe",
                 withFindings({{2, "PE.A", "first", ""}, {1, "PE.B", "low", ""}, {2, "PE.C", "second", ""}}));
  EXPECT_EQ(verdict.severity, 2);
  EXPECT_EQ(verdict.reasons, (Reasons{"first", "second"}));
}

TEST(Reasons, AreNoneForAVerdictOfLowSeverity) {
  const FileVerdict verdict = verdictFor(L"C:\\a\\b.exe", withFindings({{1, "PE.A", "low", ""}}));
  EXPECT_EQ(verdict.severity, 1);
  EXPECT_TRUE(verdict.reasons.empty());
}

TEST(Reasons, OfARuleKeepPeTitlesOut) {
  const FileVerdict verdict = verdictFor(L"C:\\a\\b.pdf.exe", withFindings({{3, "PE.A", "title", ""}}));
  EXPECT_EQ(verdict.reasons, Reasons{"Двойное расширение"});
}

TEST(ImpersonationRule, KnowsEverySystemProcess) {
  for (const char* name :
       {"svchost.exe", "lsass.exe", "csrss.exe", "smss.exe", "winlogon.exe", "services.exe", "explorer.exe",
        "taskhostw.exe", "dwm.exe", "conhost.exe", "spoolsv.exe", "wininit.exe", "rundll32.exe",
        "regedit.exe", "notepad.exe", "calc.exe"}) {
    const FileVerdict verdict = verdictFor(L"C:\\Temp\\" + toWide(name));
    EXPECT_EQ(verdict.findings, std::vector<Finding>{impersonation(name)});
    EXPECT_EQ(verdict.severity, 3);
    EXPECT_EQ(verdict.reasons, Reasons{"Маскируется под системный процесс"});
  }
  for (const wchar_t* other : {L"svchost.dll", L"svchost", L"xsvchost.exe", L"svchost.exe.exe", L"cmd.exe"}) {
    EXPECT_TRUE(codesFor(std::wstring(L"C:\\Temp\\") + other).empty());
  }
}

TEST(ImpersonationRule, IgnoresCaseAndKeepsItInTheText) {
  EXPECT_EQ(verdictFor(L"C:\\Temp\\SvcHost.EXE").findings,
            std::vector<Finding>{impersonation("SvcHost.EXE")});
}

TEST(ImpersonationRule, SparesTheSystemFolders) {
  EXPECT_TRUE(codesFor(L"C:\\Windows\\System32\\svchost.exe").empty());
  EXPECT_TRUE(codesFor(L"C:\\WINDOWS\\SYSTEM32\\svchost.exe").empty());
  EXPECT_TRUE(codesFor(L"C:\\Windows\\SysWOW64\\svchost.exe").empty());
  EXPECT_TRUE(codesFor(L"C:\\Windows\\System32\\sub\\svchost.exe").empty());
  EXPECT_EQ(codesFor(L"C:\\Windows\\explorer.exe"), Reasons{"FS.IMPERSONATE"});
  EXPECT_EQ(codesFor(L"C:\\Windows\\System32svchost.exe\\svchost.exe"), Reasons{"FS.IMPERSONATE"});
}

TEST(ImpersonationRule, IsSatisfiedWithAFolderOfTheSystemsNameAnywhere) {
  EXPECT_TRUE(codesFor(L"D:\\x\\Windows\\System32\\svchost.exe").empty());
}

TEST(DoubleExtension, KnowsEveryPair) {
  for (const wchar_t* pair :
       {L".pdf.exe", L".doc.exe", L".jpg.exe", L".png.exe", L".txt.exe", L".xls.exe", L".zip.exe",
        L".mp4.exe", L".docx.exe", L".xlsx.exe", L".pptx.exe", L".rar.exe", L".mp3.exe", L".avi.exe",
        L".rtf.exe", L".js.exe", L".vbs.exe", L".jpg.scr", L".pdf.scr"}) {
    EXPECT_TRUE(hasDoubleExtension(std::wstring(L"invoice") + pair)) << toUtf8(pair);
  }
}

TEST(DoubleExtension, IsReadFromTheFirstDot) {
  EXPECT_TRUE(hasDoubleExtension(L"invoice.pdf.exe"));
  EXPECT_FALSE(hasDoubleExtension(L"my.invoice.pdf.exe"));
  EXPECT_FALSE(hasDoubleExtension(L"invoice.pdf.exe.exe"));
}

TEST(DoubleExtension, NeedsANameAndTwoDots) {
  EXPECT_FALSE(hasDoubleExtension(L".pdf.exe"));
  EXPECT_FALSE(hasDoubleExtension(L"a.exe"));
  EXPECT_FALSE(hasDoubleExtension(L"pdfexe"));
  EXPECT_FALSE(hasDoubleExtension(L""));
  EXPECT_TRUE(hasDoubleExtension(L"a.pdf.exe"));
}

TEST(DoubleExtension, OfOtherPairsIsNone) {
  for (const wchar_t* name :
       {L"a.png.scr", L"a.pdf.com", L"a.exe.pdf", L"a.pdf.ex", L"a.pdf.exe ", L"a..exe", L"a.tar.gz"}) {
    EXPECT_FALSE(hasDoubleExtension(name)) << toUtf8(name);
  }
}

TEST(DoubleExtensionRule, IgnoresCaseAndKeepsItInTheText) {
  const FileVerdict verdict = verdictFor(L"C:\\work\\Photo.JPG.exe");
  EXPECT_EQ(verdict.findings, std::vector<Finding>{doubleExtension("Photo.JPG.exe")});
  EXPECT_EQ(verdict.severity, 3);
  EXPECT_EQ(verdict.reasons, Reasons{"Двойное расширение"});
  EXPECT_EQ(verdictFor(L"C:\\work\\Счёт.PDF.exe").findings,
            std::vector<Finding>{doubleExtension("Счёт.PDF.exe")});
}

TEST(DownloadedProgramRule, CoversBothNamesOfTheFolderInAnyCase) {
  for (const wchar_t* path : {L"C:\\Users\\u\\Downloads\\a.exe", L"C:\\Users\\u\\DOWNLOADS\\A.EXE",
                              L"C:\\Users\\u\\Загрузки\\a.exe", L"C:\\Users\\u\\ЗАГРУЗКИ\\a.exe",
                              L"D:\\downloads\\x\\a.scr", L"D:\\downloads\\a.bat"}) {
    const FileVerdict verdict = verdictFor(path);
    EXPECT_EQ(verdict.findings, std::vector<Finding>{kDownloaded}) << toUtf8(path);
    EXPECT_EQ(verdict.severity, 2);
    EXPECT_EQ(verdict.reasons, Reasons{"Исполняемый файл из папки загрузок"});
  }
}

TEST(DownloadedProgramRule, TestsTheWholePathNotTheExtension) {
  EXPECT_EQ(codesFor(L"C:\\Downloads\\setup.exe.files\\readme.txt"), Reasons{"FS.DOWNLOADED_EXE"});
  EXPECT_EQ(codesFor(L"C:\\Downloads\\archive.exe.zip"), Reasons{"FS.DOWNLOADED_EXE"});
  EXPECT_EQ(codesFor(L"C:\\x.bat\\Downloads\\readme.txt"), Reasons{"FS.DOWNLOADED_EXE"});
}

TEST(DownloadedProgramRule, WantsTheFolderAndAProgram) {
  for (const wchar_t* path : {L"C:\\Downloads\\a.dll", L"C:\\Downloads\\exe", L"C:\\MyDownloads\\a.exe",
                              L"C:\\Downloads2\\a.exe", L"C:\\a\\Downloads.exe", L"Downloads\\a.exe"}) {
    EXPECT_TRUE(codesFor(path).empty()) << toUtf8(path);
  }
}

TEST(BuildVerdict, OfADownloadedImpersonatorCarriesBothFindings) {
  const FileVerdict verdict = verdictFor(L"C:\\Users\\u\\Downloads\\svchost.exe");
  EXPECT_EQ(verdict.findings, (std::vector<Finding>{impersonation("svchost.exe"), kDownloaded}));
  EXPECT_EQ(verdict.severity, 3);
  EXPECT_EQ(verdict.reasons,
            (Reasons{"Маскируется под системный процесс", "Исполняемый файл из папки загрузок"}));
}

TEST(BuildVerdict, EvaluatesAllRulesInOrder) {
  const FileVerdict verdict = verdictFor(L"C:\\Downloads\\a.pdf.exe", withFindings({{2, "PE.X", "x", ""}}),
                                         true, listed(kSeverityLow));
  std::vector<std::string> codes;
  for (const Finding& finding : verdict.findings) codes.push_back(finding.code);
  EXPECT_EQ(codes, (Reasons{"SIG.MATCH", "PE.X", "FS.DOUBLE_EXT", "FS.DOWNLOADED_EXE"}));
  EXPECT_EQ(verdict.severity, 3);
  EXPECT_EQ(verdict.threatSeverity, 1);
  EXPECT_EQ(verdict.reasons, (Reasons{"Точное совпадение в базе угроз", "Двойное расширение",
                                      "Исполняемый файл из папки загрузок"}));
}

RuleTrace traceFor(const std::wstring& path, const PeAnalysis& pe = {}, bool matched = false,
                   const SignatureMatch& match = {}) {
  RuleTrace trace;
  const FileVerdict verdict =
      buildVerdict(path, fileName(path), 1000, 42, hash::FileDigests{}, pe, matched, match, &trace);
  EXPECT_EQ(verdict, verdictFor(path, pe, matched, match));
  std::vector<std::string> hits;
  for (const RuleCheck& rule : trace) {
    if (rule.hit) hits.push_back(rule.code + std::to_string(rule.severity));
  }
  std::vector<std::string> found;
  for (const Finding& finding : verdict.findings)
    found.push_back(finding.code + std::to_string(finding.severity));
  EXPECT_EQ(hits, found);
  return trace;
}

TEST(BuildVerdict, TraceHoldsEveryRuleOfAFileWithItsTerms) {
  using Names = std::vector<std::string>;
  const RuleTrace trace =
      traceFor(L"C:\\Users\\u\\Downloads\\a.pdf.exe", {}, true, listed(kSeverityCritical));
  ASSERT_EQ(trace.size(), 4u);
  EXPECT_EQ(trace[0], (RuleCheck{"SIG.MATCH", true, 4, {.value = Names{std::string(64, 'a')}}}));
  EXPECT_EQ(trace[1].code, "FS.IMPERSONATE");
  EXPECT_EQ(trace[1].terms.value, RuleQuantity(Names{"a.pdf.exe"}));
  EXPECT_EQ(trace[1].terms.limit, RuleQuantity(Names{"\\windows\\system32\\", "\\windows\\syswow64\\"}));
  EXPECT_EQ(trace[2], (RuleCheck{"FS.DOUBLE_EXT", true, 3, {.value = Names{".pdf.exe"}}}));
  EXPECT_EQ(trace[3].terms.value, RuleQuantity(Names{"\\downloads\\", ".exe"}));
  EXPECT_EQ(trace[3].terms.limit,
            RuleQuantity(Names{"\\downloads\\", "\\загрузки\\", ".exe", ".scr", ".bat"}));
}

TEST(BuildVerdict, TraceNamesTheSystemFolderThatSparesAFile) {
  const RuleTrace trace = traceFor(L"C:\\Windows\\System32\\svchost.exe");
  EXPECT_FALSE(trace[1].hit);
  EXPECT_EQ(trace[1].terms.sparedBy, "\\windows\\system32\\");
  EXPECT_EQ(traceFor(L"C:\\x\\other.exe")[1].terms.sparedBy, "");
  EXPECT_TRUE(traceFor(L"C:\\x\\svchost.exe")[1].hit);
}

TEST(BuildVerdict, TraceTakesTheRulesOfTheImageBetweenSignatureAndName) {
  PeAnalysis pe = withFindings({{kSeverityHigh, "PE.PACKED", "t", "d"}});
  pe.rules = {{"PE.PACKED", true, kSeverityHigh, {}}, {"PE.HIGH_ENTROPY", false, 0, {}}};
  std::vector<std::string> codes;
  for (const RuleCheck& rule : traceFor(L"C:\\x\\a.exe", pe)) codes.push_back(rule.code);
  EXPECT_EQ(codes, (std::vector<std::string>{"SIG.MATCH", "PE.PACKED", "PE.HIGH_ENTROPY", "FS.IMPERSONATE",
                                             "FS.DOUBLE_EXT", "FS.DOWNLOADED_EXE"}));
}

}  // namespace
}  // namespace korvel
