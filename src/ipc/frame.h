// The frame of the control pipe: a 24-byte header, then a payload of at most 32 MiB. Little-endian. Pure.
//
//   offset size field
//        0    4 magic     bytes 4C 56 52 4B
//        4    4 version   1
//        8    4 opcode
//       12    4 length    payload bytes, 0 to 33,554,432
//       16    8 reserved  written as zero, ignored on reading
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "base/byte_view.h"

namespace korvel::ipc {

inline constexpr wchar_t kPipeName[] = L"\\\\.\\pipe\\KorvelAV";
inline constexpr uint32_t kFrameMagic = 0x4B52564C;
inline constexpr uint32_t kProtocolVersion = 1;
inline constexpr size_t kFrameHeaderBytes = 24;
inline constexpr uint32_t kMaxPayloadBytes = 33'554'432;
inline constexpr uint32_t kIoChunkBytes = 65'536;  ///< at most this much per read or write call

struct FrameHeader {
  uint32_t opcode = 0;
  uint32_t length = 0;
};

/// `length` must not exceed kMaxPayloadBytes; the caller has checked.
std::array<uint8_t, kFrameHeaderBytes> encodeFrameHeader(const FrameHeader& header);

/// False with "bad magic", "unsupported protocol version" or "declared payload too large"; tested in this
/// order. `bytes` must hold kFrameHeaderBytes.
bool decodeFrameHeader(ByteView bytes, FrameHeader* header, std::string* error);

}  // namespace korvel::ipc
