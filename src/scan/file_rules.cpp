#include "scan/file_rules.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <set>
#include <span>
#include <string_view>
#include <utility>

#include "base/paths.h"
#include "base/text.h"
#include "base/utf.h"
#include "hash/hex_digest.h"

namespace korvel {
namespace {

using WordSet = std::set<std::wstring_view>;

// Names that only Windows components have.
constexpr std::wstring_view kSystemProcesses[] = {
    L"svchost.exe",  L"lsass.exe",     L"csrss.exe",   L"smss.exe",    L"winlogon.exe", L"services.exe",
    L"explorer.exe", L"taskhostw.exe", L"dwm.exe",     L"conhost.exe", L"spoolsv.exe",  L"wininit.exe",
    L"rundll32.exe", L"regedit.exe",   L"notepad.exe", L"calc.exe",
};

constexpr std::wstring_view kDoubleExtensions[] = {
    L".pdf.exe", L".doc.exe",  L".jpg.exe",  L".png.exe",  L".txt.exe", L".xls.exe", L".zip.exe",
    L".mp4.exe", L".docx.exe", L".xlsx.exe", L".pptx.exe", L".rar.exe", L".mp3.exe", L".avi.exe",
    L".rtf.exe", L".js.exe",   L".vbs.exe",  L".jpg.scr",  L".pdf.scr",
};

bool contains(std::wstring_view text, std::wstring_view part) {
  return text.find(part) != std::wstring_view::npos;
}

// What spares a file with such a name. These folders count anywhere in the path, so a copy in
// D:\Windows\System32\ is taken for the original.
constexpr std::wstring_view kSystemFolders[] = {L"\\windows\\system32\\", L"\\windows\\syswow64\\"};

// The extension counts anywhere in the path: a text file in a downloaded folder "setup.exe.files" qualifies.
constexpr std::wstring_view kDownloadFolders[] = {L"\\downloads\\", L"\\загрузки\\"};
constexpr std::wstring_view kProgramExtensions[] = {L".exe", L".scr", L".bat"};

/// The first of `parts` that `text` contains; empty when it has none.
std::wstring_view firstContained(std::wstring_view text, std::span<const std::wstring_view> parts) {
  for (const std::wstring_view part : parts) {
    if (contains(text, part)) return part;
  }
  return {};
}

bool isSystemProcessName(std::wstring_view lowerName) {
  static const WordSet names(std::begin(kSystemProcesses), std::end(kSystemProcesses));
  return names.contains(lowerName);
}

std::vector<std::string> inUtf8(std::span<const std::wstring_view> texts) {
  std::vector<std::string> result;
  for (const std::wstring_view text : texts) {
    if (!text.empty()) result.push_back(toUtf8(text));
  }
  return result;
}

RuleHit signatureHit(const SignatureMatch& match) {
  std::string detail = std::string("Уровень: ") + severityName(match.severity);
  if (!match.reference.empty()) detail += ", ссылка: " + match.reference;
  return {match.severity, "Обнаружено в базе: " + match.threatName, std::move(detail)};
}

RuleHit impersonationHit(const std::wstring& fileName) {
  return {kSeverityHigh, "Маскируется под системный процесс",
          "Файл " + toUtf8(fileName) +
              " лежит вне системного каталога, хотя так называются только штатные компоненты Windows"};
}

RuleHit doubleExtensionHit(const std::wstring& fileName) {
  return {kSeverityHigh, "Двойное расширение",
          "Имя " + toUtf8(fileName) + " маскирует исполняемый файл под документ или картинку"};
}

RuleHit downloadedProgramHit() {
  return {kSeverityMedium, "Исполняемый файл из папки загрузок",
          "Программы, скачанные из интернета, стоит проверять до запуска"};
}

void copyDigests(const hash::FileDigests& digests, FileVerdict& verdict) {
  verdict.md5 = hash::encodeHex(digests.md5);
  verdict.sha1 = hash::encodeHex(digests.sha1);
  verdict.sha256 = hash::encodeHex(digests.sha256);
}

void copyPeSummary(const PeAnalysis& pe, FileVerdict& verdict) {
  verdict.isPe = pe.info.isPe;
  verdict.packed = pe.info.packed || !pe.packer.empty();
  verdict.peEntropy = pe.info.entropy;
  verdict.peMaxSectionEntropy = pe.info.maxSectionEntropy;
  verdict.peSectionCount = static_cast<int32_t>(pe.info.sectionCount);
  verdict.peImportCount = static_cast<int32_t>(pe.info.importCount);
  verdict.peHasDebug = pe.info.hasDebug;
  verdict.peHasResources = pe.info.hasResources;
}

void copyMatch(const SignatureMatch& match, FileVerdict& verdict) {
  verdict.threatName = match.threatName;
  verdict.family = match.family;
  verdict.threatSeverity = match.severity;
  verdict.reference = match.reference;
  verdict.matchedHash = match.hash;
}

/// Gives a suspicious file that has no reasons the titles of its most severe findings.
void addMissingReasons(FileVerdict& verdict) {
  if (verdict.severity < kSeverityMedium || !verdict.reasons.empty()) return;
  for (const Finding& finding : verdict.findings) {
    if (finding.severity == verdict.severity) verdict.reasons.push_back(finding.title);
  }
  if (verdict.reasons.empty()) verdict.reasons.emplace_back("Требуется проверка");
}

/// The lower-cased text from the first dot on; empty where the name has less than two dots or begins with
/// one. From the first dot on purpose: "my.invoice.pdf.exe" is not caught.
std::wstring doubleExtensionOf(const std::wstring& fileName) {
  const size_t first = fileName.find(L'.');
  if (first == std::wstring::npos || first == 0 || first == fileName.rfind(L'.')) return {};
  return lowerWide(std::wstring_view(fileName).substr(first));
}

void judgeImpersonation(const FileVerdict& verdict, std::wstring_view lowerPath, RuleSheet& rules,
                        std::vector<std::string>& reasons) {
  const bool suspicious = isSystemProcessName(fileNameView(lowerPath));
  const std::wstring_view systemFolder =
      suspicious ? firstContained(lowerPath, kSystemFolders) : std::wstring_view();
  const bool hit = rules.judge(
      "FS.IMPERSONATE", suspicious && systemFolder.empty(),
      [&verdict] { return impersonationHit(verdict.fileName); },
      [&] {
        return RuleTerms{.value = inUtf8(std::array{fileNameView(lowerPath)}),
                         .limit = inUtf8(kSystemFolders),
                         .sparedBy = toUtf8(systemFolder)};
      });
  if (hit) reasons.emplace_back("Маскируется под системный процесс");
}

void judgeDoubleExtension(const FileVerdict& verdict, RuleSheet& rules, std::vector<std::string>& reasons) {
  const bool hit = rules.judge(
      "FS.DOUBLE_EXT", hasDoubleExtension(verdict.fileName),
      [&verdict] { return doubleExtensionHit(verdict.fileName); },
      [&verdict] {
        return RuleTerms{.value =
                             inUtf8(std::array<std::wstring_view, 1>{doubleExtensionOf(verdict.fileName)})};
      });
  if (hit) reasons.emplace_back("Двойное расширение");
}

void judgeDownload(std::wstring_view lowerPath, RuleSheet& rules, std::vector<std::string>& reasons) {
  const std::wstring_view folder = firstContained(lowerPath, kDownloadFolders);
  const std::wstring_view extension = folder.empty() ? folder : firstContained(lowerPath, kProgramExtensions);
  const bool hit = rules.judge("FS.DOWNLOADED_EXE", !extension.empty(), downloadedProgramHit, [&] {
    return RuleTerms{
        .value = inUtf8(std::array{folder, extension}),
        .limit = inUtf8(std::array{kDownloadFolders[0], kDownloadFolders[1], kProgramExtensions[0],
                                   kProgramExtensions[1], kProgramExtensions[2]})};
  });
  if (hit) reasons.emplace_back("Исполняемый файл из папки загрузок");
}

Severity highestOf(const std::vector<Finding>& findings) {
  Severity highest = kSeverityClean;
  for (const Finding& finding : findings) highest = std::max(highest, finding.severity);
  return highest;
}

}  // namespace

bool hasDoubleExtension(const std::wstring& fileName) {
  static const WordSet extensions(std::begin(kDoubleExtensions), std::end(kDoubleExtensions));
  return extensions.contains(doubleExtensionOf(fileName));
}

FileVerdict buildVerdict(std::wstring path, std::wstring fileName, uint64_t size, uint64_t lastWriteTime,
                         const std::optional<hash::FileDigests>& digests, const PeAnalysis& pe,
                         bool signatureMatched, const SignatureMatch& match, RuleTrace* trace) {
  FileVerdict verdict;
  verdict.path = std::move(path);
  verdict.fileName = std::move(fileName);
  verdict.size = size;
  verdict.lastWriteTime = lastWriteTime;
  if (digests) copyDigests(*digests, verdict);
  copyPeSummary(pe, verdict);
  verdict.signatureMatched = signatureMatched;
  copyMatch(match, verdict);

  const std::wstring lowerPath = lowerWide(verdict.path);
  RuleSheet rules(verdict.findings, trace);
  const bool listed = rules.judge(
      "SIG.MATCH", signatureMatched, [&match] { return signatureHit(match); },
      [&match] { return match.hash.empty() ? RuleTerms{} : RuleTerms{.value = std::vector{match.hash}}; });
  if (listed) verdict.reasons.emplace_back("Точное совпадение в базе угроз");
  verdict.findings.insert(verdict.findings.end(), pe.findings.begin(), pe.findings.end());
  if (trace != nullptr) trace->insert(trace->end(), pe.rules.begin(), pe.rules.end());
  judgeImpersonation(verdict, lowerPath, rules, verdict.reasons);
  judgeDoubleExtension(verdict, rules, verdict.reasons);
  judgeDownload(lowerPath, rules, verdict.reasons);

  verdict.severity = highestOf(verdict.findings);
  addMissingReasons(verdict);
  return verdict;
}

}  // namespace korvel
