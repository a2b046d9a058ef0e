// The one number of a quarantine request.
#include "fuzz/payload_input.h"
#include "protocol/messages.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::checkRoundTrip(fuzz::payloadOf(data, size), ipc::decodeQuarantineId, ipc::encodeQuarantineId);
  return 0;
}
