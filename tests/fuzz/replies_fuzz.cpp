// Every reply a client decodes; the first byte of the input chooses which.
#include "fuzz/payload_input.h"
#include "protocol/messages.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string payload = fuzz::payloadOf(data + 1, size - 1);
  const auto encodeProgress = [](const ScanReport& reply) {
    size_t taken = 0;
    std::string bytes = ipc::encodeProgress(reply, &taken);
    fuzz::require(taken == reply.events.size());
    return bytes;
  };
  switch (data[0] % 6) {
    case 0:
      fuzz::checkRoundTrip(payload, ipc::decodeProgress, encodeProgress);
      break;
    case 1:
      fuzz::checkRoundTrip(payload, ipc::decodeStatus, ipc::encodeStatus);
      break;
    case 2:
      fuzz::checkRoundTrip(payload, ipc::decodeResults, ipc::encodeResults);
      break;
    case 3:
      fuzz::checkRoundTrip(payload, ipc::decodeQuarantineList, ipc::encodeQuarantineList);
      break;
    case 4:
      fuzz::checkRoundTrip(payload, ipc::decodeNumber, ipc::encodeNumber);
      break;
    default:
      fuzz::checkRoundTrip(payload, ipc::decodeFirewallChange, ipc::encodeFirewallChange);
  }
  return 0;
}
