// Directory change notifications: whatever the buffer holds, the names fit into it.
#include <cstdlib>

#include "engine/notify_records.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  for (const std::wstring& name : korvel::svc::changedNames(korvel::ByteView(data, size))) {
    if (name.empty() || name.front() == L'.' || name.size() * 2 > size) std::abort();
  }
  return 0;
}
