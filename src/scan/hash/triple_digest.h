// All three digests of one stream in one pass over the bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "scan/hash/block_stream.h"
#include "scan/hash/byte_histogram.h"
#include "scan/hash/kernels.h"

namespace korvel::hash {

struct TripleDigestText {
  std::string md5;  ///< lower-case hexadecimal
  std::string sha1;
  std::string sha256;
};

struct TripleDigestBytes {
  std::array<uint8_t, 16> md5;
  std::array<uint8_t, 20> sha1;
  std::array<uint8_t, 32> sha256;
};

/// Feeds MD5, SHA-1 and SHA-256 together; equal to three separate hashers. Reusable after reset(). Not
/// thread-safe; separate objects are independent.
class TripleDigest {
 public:
  TripleDigest() { reset(); }
  void reset();

  /// Feeds bytes: any length, 0 included, in any number of calls.
  void update(const uint8_t* data, size_t length);

  /// The same, and adds the bytes to `counts`: cheaper than a pass of its own over them.
  void updateAndCount(const uint8_t* data, size_t length, ByteCounts& counts);

  /// The digests of everything fed so far. Both leave the object as it is, so feeding may go on afterwards.
  TripleDigestText hexDigests() const;
  TripleDigestBytes digests() const;

 private:
  TripleState state_;
  BlockStream stream_;
};

}  // namespace korvel::hash
