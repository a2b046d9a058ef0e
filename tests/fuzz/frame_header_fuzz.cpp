// Any 24 bytes: the decoder names one of three faults, or the header encodes back to the bytes it came from.
#include <algorithm>

#include "fuzz/payload_input.h"
#include "protocol/frame.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t kReservedBytes = 8;
  if (size < ipc::kFrameHeaderBytes) return 0;
  ipc::FrameHeader header;
  std::string error;
  if (!ipc::decodeFrameHeader(ByteView(data, ipc::kFrameHeaderBytes), &header, &error)) {
    fuzz::require(error == "bad magic" || error == "unsupported protocol version" ||
                  error == "declared payload too large");
    return 0;
  }
  fuzz::require(error.empty() && header.length <= ipc::kMaxPayloadBytes);
  const auto bytes = ipc::encodeFrameHeader(header);
  fuzz::require(std::equal(bytes.begin(), bytes.end() - kReservedBytes, data));
  return 0;
}
