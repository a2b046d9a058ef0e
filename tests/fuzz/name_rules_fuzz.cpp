// Any UTF-16 as a path, half surrogate pairs and control characters included: the parts of a path fit
// together, and what is decided by names keeps its promises. The input is units of two bytes, low byte first.
#include <algorithm>
#include <string>

#include "base/paths.h"
#include "base/text.h"
#include "base/utf.h"
#include "fuzz/payload_input.h"
#include "scan/file_rules.h"
#include "scan/scan_filter.h"

using namespace korvel;
using fuzz::require;

namespace {

void checkParts(const std::wstring& path) {
  const size_t root = rootLength(path);
  const std::wstring parent = parentDirectory(path);
  require(root <= path.size() && parent.size() >= std::min(root, path.size()));
  require(path.starts_with(parent) && rootLength(parent) == root);
  if (parent.size() > root) require(!isPathSeparator(parent.back()));
  const std::wstring name = fileName(path);
  require(name.find_first_of(L"\\/") == std::wstring::npos && path.ends_with(name));
  require(fileName(joinPath(parent, name)) == name);
}

void checkEncoding(const std::wstring& path) {
  const std::string utf8 = toUtf8(path);
  const std::wstring whole = toWide(utf8);  // half pairs are U+FFFD now
  require(whole.size() == path.size() && toUtf8(whole) == utf8);
  for (size_t i = 0; i < path.size(); ++i) require(whole[i] == path[i] || whole[i] == wchar_t{0xFFFD});
  const std::wstring lower = lowerWide(path);
  require(lower.size() == path.size() && lowerWide(lower) == lower);
}

void checkFilter(const std::wstring& path) {
  ScanOptions options;
  const ScanFilterResult result = filterFile(path, options);
  const std::wstring lower = lowerWide(path);
  require(filterFile(lower, options) == result);
  options.skipKernelFiles = false;
  const ScanFilterResult withKernel = filterFile(path, options);
  require(withKernel == result ||
          (result == ScanFilterResult::kKernelFile &&
           (withKernel == ScanFilterResult::kTaken || withKernel == ScanFilterResult::kOtherExtension)));
  require((result == ScanFilterResult::kShortPath) == (path.size() < 5));
  if (result == ScanFilterResult::kNoName) require(isPathSeparator(path.back()));
  if (result == ScanFilterResult::kNoExtension) require(fileName(path).find(L'.') == std::wstring::npos);
  if (result == ScanFilterResult::kTaken) {
    const auto extensions = scannedExtensions();
    require(std::any_of(extensions.begin(), extensions.end(),
                        [&lower](std::wstring_view extension) { return lower.ends_with(extension); }));
  }
  if (isExcludedDirectory(lower)) require(isExcludedDirectory(lower + L"x"));
}

void checkVerdict(const std::wstring& path) {
  const std::wstring name = fileName(path);
  const bool isDouble = hasDoubleExtension(name);
  const std::wstring lower = lowerWide(name);
  if (isDouble) require(std::count(name.begin(), name.end(), L'.') == 2 && name.front() != L'.');
  if (isDouble) require(lower.ends_with(L".exe") || lower.ends_with(L".scr"));

  const FileVerdict verdict = buildVerdict(path, name, path.size(), 0, {}, {}, false, {});
  RuleTrace trace;
  require(buildVerdict(path, name, path.size(), 0, {}, {}, false, {}, &trace) == verdict);
  require(!trace.empty() && verdict.path == path && verdict.fileName == name);
  require((verdict.severity >= kSeverityMedium) == !verdict.reasons.empty());
  require(verdict.reasons.size() == verdict.findings.size() && verdict.findings.size() <= 3);
  for (const Finding& finding : verdict.findings) {
    require(finding.severity <= verdict.severity && toUtf8(toWide(finding.detail)) == finding.detail);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::wstring path;
  for (size_t i = 0; i + 1 < size; i += 2) path.push_back(static_cast<wchar_t>(data[i] | data[i + 1] << 8));
  checkParts(path);
  checkEncoding(path);
  checkFilter(path);
  checkVerdict(path);
  return 0;
}
