// Whatever a scan cache file holds, writing it and reading it back changes nothing more.
#include <cstdint>
#include <cstdlib>

#include "scan/scan_cache_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  korvel::ScanCacheTable table;
  table.parse({reinterpret_cast<const char*>(data), size});
  const std::string text = table.format();
  korvel::ScanCacheTable again;
  again.parse(text);
  if (again.size() != table.size() || again.format() != text) std::abort();
  return 0;
}
