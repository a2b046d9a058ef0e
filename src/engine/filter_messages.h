// The messages between the file-system minifilter and the service. Little-endian. Pure and thread-safe.
//
// Driver to service: the platform's 16-byte message header (u32 length at 0, u64 message id at 8), then a
// body of up to 1,060 bytes:
//   body offset  size field
//             0     4 magic "KRVL"
//             4     4 version, 1
//             8     4 type: 1 or 2 file query, 3 keep-alive
//            12     4 size of the body
//            16    12 not read
//            28 1,024 path, UTF-16, NUL-terminated within the field or filling it
//         1,052     8 not read
//
// Service to driver, 40 bytes, an ordinary message that is shaped like a filter reply:
//        offset  size field
//             0     4 status, 0
//             8     8 message id of the query
//            16    16 head: "KRVL", 1, 10, 40
//            32     4 0 allow, 1 block
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "base/byte_view.h"

namespace korvel::svc {

inline constexpr size_t kFilterMessageBytes = 1'076;
inline constexpr size_t kFilterAnswerBytes = 40;

struct FilterMessage {
  bool keepAlive = false;  ///< answered with "allow" at once; has no path
  uint64_t messageId = 0;
  std::wstring path;  ///< at most 512 units
};

/// Nothing for a message that gets no answer: malformed, of another type, or too short for a query.
/// `buffer` holds kFilterMessageBytes. Throws only for a query, when there is no memory for its path.
std::optional<FilterMessage> decodeFilterMessage(ByteView buffer);

/// The id of a message of which only that is wanted; 0 where the buffer is too short for one.
uint64_t filterMessageId(ByteView buffer);

std::array<uint8_t, kFilterAnswerBytes> encodeFilterAnswer(uint64_t messageId, bool block);

}  // namespace korvel::svc
