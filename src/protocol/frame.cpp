#include "protocol/frame.h"

#include "base/error.h"

namespace korvel::ipc {
namespace {

constexpr size_t kMagicOffset = 0;
constexpr size_t kVersionOffset = 4;
constexpr size_t kOpcodeOffset = 8;
constexpr size_t kLengthOffset = 12;  // the eight reserved bytes follow

}  // namespace

FrameHeaderBytes encodeFrameHeader(const FrameHeader& header) {
  FrameHeaderBytes bytes{};
  storeLe32(bytes.data() + kMagicOffset, kFrameMagic);
  storeLe32(bytes.data() + kVersionOffset, kProtocolVersion);
  storeLe32(bytes.data() + kOpcodeOffset, header.opcode);
  storeLe32(bytes.data() + kLengthOffset, header.length);
  return bytes;
}

bool decodeFrameHeader(ByteView bytes, FrameHeader* header, std::string* error) {
  if (bytes.u32(kMagicOffset) != kFrameMagic) return fail(error, "bad magic");
  if (bytes.u32(kVersionOffset) != kProtocolVersion) return fail(error, "unsupported protocol version");
  const uint32_t length = bytes.u32(kLengthOffset).value_or(0);
  if (length > kMaxPayloadBytes) return fail(error, "declared payload too large");
  header->opcode = bytes.u32(kOpcodeOffset).value_or(0);
  header->length = length;
  return true;
}

}  // namespace korvel::ipc
