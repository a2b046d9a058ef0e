// The quarantine index reader on arbitrary bytes. What it accepted must survive being written and read again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "remedy/quarantine_index.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto records =
      korvel::parseQuarantineIndex(std::string_view(reinterpret_cast<const char*>(data), size));
  for (const korvel::QuarantineRecord& record : records) {
    if (record.id == 0 || record.storedFileExists) std::abort();
    (void)korvel::quarantinedFileName(record.time, record.sha256, record.name);
  }
  if (korvel::parseQuarantineIndex(korvel::formatQuarantineIndex(records)) != records) std::abort();
  return 0;
}
