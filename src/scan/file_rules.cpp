#include "scan/file_rules.h"

#include <algorithm>
#include <iterator>
#include <set>
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

/// The system folders count anywhere in the path, so a copy in D:\Windows\System32\ is taken for the
/// original.
bool impersonatesSystemProcess(std::wstring_view lowerPath) {
  static const WordSet names(std::begin(kSystemProcesses), std::end(kSystemProcesses));
  return names.contains(fileNameView(lowerPath)) && !contains(lowerPath, L"\\windows\\system32\\") &&
         !contains(lowerPath, L"\\windows\\syswow64\\");
}

/// The extension counts anywhere in the path: a text file in a downloaded folder "setup.exe.files" qualifies.
bool isDownloadedProgram(std::wstring_view lowerPath) {
  const bool downloaded = contains(lowerPath, L"\\downloads\\") || contains(lowerPath, L"\\загрузки\\");
  return downloaded &&
         (contains(lowerPath, L".exe") || contains(lowerPath, L".scr") || contains(lowerPath, L".bat"));
}

/// Collects the findings of one verdict and the highest severity among them.
class RuleHits {
 public:
  explicit RuleHits(FileVerdict& verdict) : verdict_(verdict) {}

  void add(Finding finding) {
    highest_ = std::max(highest_, finding.severity);
    verdict_.findings.push_back(std::move(finding));
  }
  /// Adds the finding and its reason for the user.
  void add(Finding finding, const char* reason) {
    add(std::move(finding));
    verdict_.reasons.emplace_back(reason);
  }
  Severity highest() const { return highest_; }

 private:
  FileVerdict& verdict_;
  Severity highest_ = kSeverityClean;
};

Finding signatureFinding(const SignatureMatch& match) {
  std::string detail = std::string("Уровень: ") + severityName(match.severity);
  if (!match.reference.empty()) detail += ", ссылка: " + match.reference;
  return {match.severity, "SIG.MATCH", "Обнаружено в базе: " + match.threatName, std::move(detail)};
}

Finding impersonationFinding(const std::wstring& fileName) {
  return {kSeverityHigh, "FS.IMPERSONATE", "Маскируется под системный процесс",
          "Файл " + toUtf8(fileName) +
              " лежит вне системного каталога, хотя так называются только штатные компоненты Windows"};
}

Finding doubleExtensionFinding(const std::wstring& fileName) {
  return {kSeverityHigh, "FS.DOUBLE_EXT", "Двойное расширение",
          "Имя " + toUtf8(fileName) + " маскирует исполняемый файл под документ или картинку"};
}

Finding downloadedProgramFinding() {
  return {kSeverityMedium, "FS.DOWNLOADED_EXE", "Исполняемый файл из папки загрузок",
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

}  // namespace

bool hasDoubleExtension(const std::wstring& fileName) {
  static const WordSet extensions(std::begin(kDoubleExtensions), std::end(kDoubleExtensions));
  // From the first dot on purpose: "my.invoice.pdf.exe" is not caught.
  const size_t first = fileName.find(L'.');
  if (first == std::wstring::npos || first == 0 || first == fileName.rfind(L'.')) return false;
  return extensions.contains(lowerWide(std::wstring_view(fileName).substr(first)));
}

FileVerdict buildVerdict(std::wstring path, std::wstring fileName, uint64_t size, uint64_t lastWriteTime,
                         const std::optional<hash::FileDigests>& digests, const PeAnalysis& pe,
                         bool signatureMatched, const SignatureMatch& match) {
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
  RuleHits hits(verdict);
  if (signatureMatched) hits.add(signatureFinding(match), "Точное совпадение в базе угроз");
  for (const Finding& finding : pe.findings) hits.add(finding);
  if (impersonatesSystemProcess(lowerPath)) {
    hits.add(impersonationFinding(verdict.fileName), "Маскируется под системный процесс");
  }
  if (hasDoubleExtension(verdict.fileName)) {
    hits.add(doubleExtensionFinding(verdict.fileName), "Двойное расширение");
  }
  if (isDownloadedProgram(lowerPath)) {
    hits.add(downloadedProgramFinding(), "Исполняемый файл из папки загрузок");
  }

  verdict.severity = hits.highest();
  addMissingReasons(verdict);
  return verdict;
}

}  // namespace korvel
