// The common part of all three digests: cutting a stream of pieces of any size into blocks of 64 bytes,
// counting its bits, and padding its end. Pure; not thread-safe.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace korvel::hash {

inline constexpr size_t kBlockBytes = 64;

/// The padded end of a message, which a digest compresses last: one block, or two when the bit count does not
/// fit into the first.
struct PaddedTail {
  std::array<uint8_t, 2 * kBlockBytes> bytes{};
  size_t blocks = 0;
};

class BlockStream {
 public:
  /// Feeds bytes and calls `compress(blocks, count)` with each run of whole blocks, in order. Blocks that lie
  /// entirely inside `data` are passed on in place, without a copy.
  template <typename Compress>
  void update(const uint8_t* data, size_t length, Compress compress) {
    if (length == 0) return;  // `data` may be null then
    bitCount_ += uint64_t{8} * length;
    if (waiting_ != 0) {
      const size_t taken = std::min(length, bytesToBoundary());
      std::memcpy(block_.data() + waiting_, data, taken);
      waiting_ += taken;
      if (waiting_ < kBlockBytes) return;
      compress(static_cast<const uint8_t*>(block_.data()), size_t{1});
      waiting_ = 0;
      data += taken;
      length -= taken;
    }
    const size_t blocks = length / kBlockBytes;
    if (blocks != 0) compress(data, blocks);
    waiting_ = length % kBlockBytes;
    if (waiting_ != 0) std::memcpy(block_.data(), data + blocks * kBlockBytes, waiting_);
  }

  /// How many bytes are missing to the end of a block; 0 at a block boundary.
  size_t bytesToBoundary() const { return (kBlockBytes - waiting_) % kBlockBytes; }

  /// The waiting bytes, one 0x80 byte, zeros up to the last eight bytes of a block, and there the bit count
  /// in the given byte order. The stream is unchanged.
  PaddedTail paddedTail(std::endian lengthOrder) const {
    constexpr size_t kLengthBytes = 8;
    PaddedTail tail;
    std::copy_n(block_.begin(), waiting_, tail.bytes.begin());
    tail.bytes[waiting_] = 0x80;
    tail.blocks = waiting_ + 1 + kLengthBytes <= kBlockBytes ? 1 : 2;
    const size_t lengthAt = tail.blocks * kBlockBytes - kLengthBytes;
    for (size_t i = 0; i < kLengthBytes; ++i) {
      const size_t shift = 8 * (lengthOrder == std::endian::little ? i : kLengthBytes - 1 - i);
      tail.bytes[lengthAt + i] = static_cast<uint8_t>(bitCount_ >> shift);
    }
    return tail;
  }

 private:
  uint64_t bitCount_ = 0;
  size_t waiting_ = 0;  ///< bytes of block_ in use, below kBlockBytes between calls
  std::array<uint8_t, kBlockBytes> block_{};
};

}  // namespace korvel::hash
