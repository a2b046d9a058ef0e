// The common interface of the message digests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace korvel::hash {

/// A running digest. Not thread-safe; separate objects are independent.
class Hasher {
 public:
  virtual ~Hasher() = default;

  /// Feeds bytes: any length, 0 included, in any number of calls.
  virtual void update(const uint8_t* data, size_t length) = 0;

  /// The digest of everything fed so far, in lower-case hexadecimal. Feeding may continue afterwards.
  virtual std::string hexDigest() const = 0;

  /// The block size of the compression function, in bytes: 64 for every digest here.
  virtual size_t blockSize() const { return 64; }
};

}  // namespace korvel::hash
