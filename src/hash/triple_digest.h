// All three digests of one stream in one pass over the bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "hash/block_stream.h"
#include "hash/byte_tables.h"
#include "hash/file_digests.h"
#include "hash/kernels.h"

namespace korvel::hash {

/// Feeds MD5, SHA-1 and SHA-256 together; equal to three separate hashers. Reusable after reset(). Not
/// thread-safe; separate objects are independent.
class TripleDigest {
 public:
  TripleDigest() { reset(); }
  void reset();

  /// Feeds bytes: any length, 0 included, in any number of calls.
  void update(const uint8_t* data, size_t length);

  /// The same, and adds the bytes to `counts`, which is cheaper than a separate pass.
  void updateAndCount(const uint8_t* data, size_t length, ByteCounts& counts);

  /// The digests of everything fed so far. The object is unchanged, so feeding may continue.
  FileDigests digests() const;

 private:
  TripleState state_;
  BlockStream stream_;
};

}  // namespace korvel::hash
