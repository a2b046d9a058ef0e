// All three digests of many messages at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "hash/file_digests.h"
#include "hash/lane_kernels.h"

namespace korvel::hash {

/// How many writable bytes must follow a message of any length: its padding and bit count.
inline constexpr size_t kMessagePaddingBytes = 9 + 63;

/// A message in memory. `bytes[length]` to `bytes[length + kMessagePaddingBytes - 1]` are overwritten.
struct Message {
  uint8_t* bytes;
  size_t length;
  FileDigests digests;  ///< the result
};

/// Digests all messages; equal to a TripleDigest for each. Fastest when there are many of similar lengths, in
/// one call. `kernels` are tried in turn, best first, and the last must have one lane; by default those of
/// this processor. Throws std::bad_alloc. Thread-safe.
void digestAll(std::span<Message> messages);
void digestAll(std::span<Message> messages, std::span<const LaneKernel> kernels);

}  // namespace korvel::hash
