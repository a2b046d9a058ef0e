// The texts of digests, as published values and other tools spell them.
#pragma once

#include <string>

#include "hash/hex_digest.h"
#include "hash/triple_digest.h"

namespace korvel::test {

struct DigestTexts {
  std::string md5;
  std::string sha1;
  std::string sha256;
};

inline DigestTexts textsOf(const hash::FileDigests& digests) {
  return {hash::encodeHex(digests.md5), hash::encodeHex(digests.sha1), hash::encodeHex(digests.sha256)};
}

inline DigestTexts textsOf(const hash::TripleDigest& digest) { return textsOf(digest.digests()); }

}  // namespace korvel::test
