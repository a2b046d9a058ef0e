// The decision on one threat, as a client sends it.
#include "fuzz/payload_input.h"
#include "protocol/messages.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::checkRoundTrip(fuzz::payloadOf(data, size), ipc::decodeThreatDecision, ipc::encodeThreatDecision);
  return 0;
}
