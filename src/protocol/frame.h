// The frame of the control pipe: a 24-byte header, then a payload of at most 32 MiB. Little-endian. Pure.
//
//   offset size field
//        0    4 magic     bytes 4C 56 52 4B
//        4    4 version   1
//        8    4 opcode
//       12    4 length    payload bytes, 0 to 33,554,432
//       16    8 reserved  written as zero, ignored on reading
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "base/byte_view.h"
#include "base/sizes.h"

namespace korvel::ipc {

inline constexpr wchar_t kPipeName[] = L"\\\\.\\pipe\\KorvelAV";
inline constexpr uint32_t kFrameMagic = 0x4B52564C;
inline constexpr uint32_t kProtocolVersion = 1;
inline constexpr size_t kFrameHeaderBytes = 24;
inline constexpr uint32_t kMaxPayloadBytes = 32 * kMiB;
inline constexpr uint32_t kIoChunkBytes = 64 * kKiB;  ///< at most this much per read or write call

/// One message in either direction.
struct Frame {
  uint32_t opcode = 0;
  std::string payload;

  bool operator==(const Frame&) const = default;
};

struct FrameHeader {
  uint32_t opcode = 0;
  uint32_t length = 0;
};

using FrameHeaderBytes = std::array<uint8_t, kFrameHeaderBytes>;

/// `length` must not exceed kMaxPayloadBytes; the caller checks.
FrameHeaderBytes encodeFrameHeader(const FrameHeader& header);

/// False with "bad magic", "unsupported protocol version" or "declared payload too large", tested in this
/// order. `bytes` must hold kFrameHeaderBytes.
bool decodeFrameHeader(ByteView bytes, FrameHeader* header, std::string* error);

/// The size of the next transfer when `remaining` bytes are left.
constexpr uint32_t chunkOf(size_t remaining) {
  return static_cast<uint32_t>(std::min<size_t>(remaining, kIoChunkBytes));
}

/// Reads `length` bytes with `read(buffer, bytes)`, doubling the payload as they arrive: a peer that declares
/// the largest payload and sends nothing costs one chunk of memory. False as soon as `read` returns false.
template <typename Read>
bool readPayload(std::string* payload, size_t length, Read read) {
  payload->clear();
  while (payload->size() < length) {
    const size_t done = payload->size();
    payload->resize(std::min(length, std::max<size_t>(2 * done, kIoChunkBytes)));
    if (!read(payload->data() + done, payload->size() - done)) return false;
  }
  return true;
}

}  // namespace korvel::ipc
