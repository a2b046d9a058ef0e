// A set of domains that costs little more memory than their letters: millions of them come in one list. Pure;
// not thread-safe.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "base/sizes.h"

namespace korvel {

class DomainSet {
 public:
  /// False when the domain is in the set already. It holds no line feed. Throws std::length_error beyond 4
  /// GiB of text.
  bool insert(std::string_view domain);
  uint64_t size() const { return size_; }

 private:
  using Offset = uint32_t;
  static constexpr size_t kPieceBytes = kMiB;

  char at(size_t offset) const { return pieces_[offset / kPieceBytes][offset % kPieceBytes]; }
  bool holdsAt(size_t offset, std::string_view domain) const;
  size_t firstSlot(uint64_t hash) const;
  void grow();
  void append(char c);

  std::vector<std::unique_ptr<char[]>> pieces_;  // all domains one after another, each with an LF behind it
  size_t textBytes_ = 0;
  std::vector<Offset> slots_;  // 1 + where a domain begins; 0 is free
  uint64_t size_ = 0;
};

}  // namespace korvel
