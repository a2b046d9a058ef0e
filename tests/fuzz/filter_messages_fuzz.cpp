// Minifilter messages: a decoded query has a path that fits its field.
#include <cstdlib>

#include "engine/filter_messages.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto message = korvel::svc::decodeFilterMessage(korvel::ByteView(data, size));
  if (message && (message->path.size() > 512 || (message->keepAlive && !message->path.empty()))) std::abort();
  return 0;
}
