// Random SHA-256 digests as text, the same for the same seed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace korvel::bench {

inline std::vector<std::string> randomDigests(size_t count, uint64_t seed) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::mt19937_64 random(seed);
  std::vector<std::string> digests(count, std::string(64, '0'));
  for (std::string& digest : digests) {
    for (size_t part = 0; part < 64; part += 16) {
      uint64_t bits = random();
      for (size_t i = 0; i < 16; ++i, bits >>= 4) digest[part + i] = kDigits[bits & 15];
    }
  }
  return digests;
}

/// One digest per line.
inline std::string linesOf(const std::vector<std::string>& digests, size_t begin, size_t end) {
  std::string text;
  text.reserve((end - begin) * 65);
  for (size_t i = begin; i < end; ++i) text.append(digests[i]).push_back('\n');
  return text;
}

}  // namespace korvel::bench
