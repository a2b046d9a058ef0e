// A program whose judgement takes one large piece of memory, so that a test can make it fail.
#pragma once

#include <string>

#include "support/pe_builder.h"

namespace korvel::test {

/// No single block that the engine needs otherwise is larger than this.
inline constexpr size_t kBlockLimitBytes = 256 << 10;

/// An image with so many section headers that their list is larger than kBlockLimitBytes.
inline std::string imageWithManySections() {
  constexpr uint16_t kSections = 20'000;
  Bytes image = PeBuilder().section({".text", kPeCode, Bytes(16)}).build();
  put16(image, kPeSignatureAt + 6, kSections);
  image.resize(image.size() + kSections * kPeSectionHeaderBytes);
  return std::string(image.begin(), image.end());
}

}  // namespace korvel::test
