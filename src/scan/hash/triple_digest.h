// All three digests of one stream in one pass over the bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace korvel::hash {

struct TripleDigestText {
  std::string md5;  ///< lower-case hexadecimal
  std::string sha1;
  std::string sha256;
};

/// Feeds MD5, SHA-1 and SHA-256 together; equal to three separate hashers. Reusable after reset(). Not
/// thread-safe.
class TripleDigest {
 public:
  TripleDigest() { reset(); }
  void reset();
  void update(const uint8_t* data, size_t length);
  TripleDigestText hexDigests() const;

 private:
  uint32_t md5_[4];
  uint32_t sha1_[5];
  uint32_t sha256_[8];
  uint64_t bytes_ = 0;
  uint8_t buffer_[64];
};

}  // namespace korvel::hash
