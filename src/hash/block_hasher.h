// A Hasher made of the shared block stream and one compression function.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

#include "hash/block_stream.h"
#include "hash/hasher.h"
#include "hash/hex_digest.h"
#include "hash/word_bytes.h"

namespace korvel::hash {

/// `Algorithm` names the initial state, the byte order of words and bit count, and the compression function:
///
///   static constexpr std::endian kByteOrder;
///   static constexpr std::array<uint32_t, words> kInitialState;
///   static void compress(uint32_t* state, const uint8_t* blocks, size_t count);
template <typename Algorithm>
class BlockHasher : public Hasher {
 public:
  using State = std::remove_const_t<decltype(Algorithm::kInitialState)>;
  using Bytes = std::array<uint8_t, sizeof(State)>;

  void update(const uint8_t* data, size_t length) override {
    stream_.update(data, length, [this](const uint8_t* blocks, size_t count) {
      Algorithm::compress(state_.data(), blocks, count);
    });
  }

  std::string hexDigest() const override { return encodeHex(digest()); }

  /// The same digest as bytes. The object is unchanged.
  Bytes digest() const {
    State state = state_;
    const PaddedTail tail = stream_.paddedTail(Algorithm::kByteOrder);
    Algorithm::compress(state.data(), tail.bytes.data(), tail.blocks);
    return digestBytes(state, Algorithm::kByteOrder);
  }

 private:
  State state_ = Algorithm::kInitialState;
  BlockStream stream_;
};

}  // namespace korvel::hash
