// The PE analysis and the verdict rules over arbitrary bytes: whatever a file holds, the result keeps its
// promises.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "pe/image_promises.h"
#include "pe/pe_analysis.h"
#include "scan/file_rules.h"

namespace {

void require(bool promise) {
  if (!promise) std::abort();
}

void check(const uint8_t* data, size_t size, uint64_t fileSize) {
  const korvel::ByteView bytes(data, size);
  const korvel::PeAnalysis analysis = korvel::analyzePeBuffer(bytes, fileSize, /*unixNow=*/1'700'000'000);
  require(korvel::test::brokenPromise(analysis, size) == nullptr);
  require(!analysis.info.isPe || korvel::mayBePe(bytes, fileSize));

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
