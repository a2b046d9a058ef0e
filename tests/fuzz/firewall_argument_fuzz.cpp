// The single text of a firewall request and of an error reply.
#include "fuzz/payload_input.h"
#include "protocol/messages.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::checkRoundTrip(fuzz::payloadOf(data, size), ipc::decodeText, ipc::encodeText);
  return 0;
}
