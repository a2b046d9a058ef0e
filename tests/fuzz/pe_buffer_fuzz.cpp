// The PE analysis and the verdict rules over arbitrary bytes: whatever a file holds, the result keeps its
// promises.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "pe/pe_analysis.h"
#include "pe/pe_imports.h"
#include "scan/file_rules.h"

namespace {

void require(bool promise) {
  if (!promise) std::abort();
}

void checkEntropy(double entropy) { require(entropy >= 0.0 && entropy <= 8.0 + 1e-9); }

void checkImage(const korvel::PeInfo& info, size_t size) {
  checkEntropy(info.entropy);
  require(info.sectionCount == info.sections.size());
  require(info.sectionCount * size_t{40} <= size);
  for (const korvel::PeSection& section : info.sections) {
    checkEntropy(section.entropy);
    require(section.entropy <= info.maxSectionEntropy);
    require(section.name.size() <= 8);
  }
  require(info.importCount == info.imports.size() && info.importCount <= korvel::kImportNameLimit);
  for (const std::string& name : info.imports) {
    require(!name.empty() && name.size() < 128);
    for (const char c : name) require(c >= 0x20 && c <= 0x7E);
  }
  require(info.hasOverlay == (info.overlaySize != 0));
}

void check(const uint8_t* data, size_t size, uint64_t fileSize) {
  const korvel::ByteView bytes(data, size);
  const korvel::PeAnalysis analysis = korvel::analyzePeBuffer(bytes, fileSize, /*unixNow=*/1'700'000'000);
  if (analysis.info.isPe) {
    require(korvel::mayBePe(bytes, fileSize));
    checkImage(analysis.info, size);
  } else {
    require(analysis.findings.empty() && analysis.packer.empty() && analysis.info.sections.empty());
  }

  const korvel::FileVerdict verdict =
      korvel::buildVerdict(L"C:\\x\\a.exe", L"a.exe", fileSize, 0, {}, analysis, false, {});
  require(verdict.findings == analysis.findings);
  require((verdict.severity >= korvel::kSeverityMedium) == !verdict.reasons.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  check(data, size, size);
  check(data, size, size + 0x200000000);  // only the beginning was read
  return 0;
}
