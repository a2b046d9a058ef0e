// The request that starts a scan: scope, a counted list of paths.
#include "fuzz/payload_input.h"
#include "protocol/messages.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string payload = fuzz::payloadOf(data, size);
  fuzz::checkRoundTrip(payload, ipc::decodeStartScan, ipc::encodeStartScan);
  const auto request = ipc::decodeStartScan(payload);
  fuzz::require(!request || request->targets.size() <= ipc::kMaxScanTargets);
  return 0;
}
