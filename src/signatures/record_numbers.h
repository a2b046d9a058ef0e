// An array of record numbers that uses one, two or four bytes for each: as many as the largest number needs.
// Most tables need one. Pure; not thread-safe while changed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace korvel {

class RecordNumbers {
 public:
  size_t size() const { return bytes_.size() >> shift_; }
  uint64_t residentBytes() const { return bytes_.capacity(); }

  uint32_t get(size_t at) const {
    if (shift_ == 0) return bytes_[at];
    uint32_t value = 0;
    std::memcpy(&value, bytes_.data() + (at << shift_), size_t{1} << shift_);
    return value;
  }

  /// Prefetches a number into the cache; `at` may be one past the end.
  void prefetch(size_t at) const { __builtin_prefetch(bytes_.data() + (at << shift_)); }

  /// `value` must fit the width; see widenFor().
  void set(size_t at, uint32_t value) {
    std::memcpy(bytes_.data() + (at << shift_), &value, size_t{1} << shift_);
  }

  void append(uint32_t value) {
    if (value > largest()) widenFor(value);
    bytes_.resize(bytes_.size() + (size_t{1} << shift_));
    set(size() - 1, value);
  }

  /// Widens all numbers, if necessary, to hold values up to `largestValue`.
  void widenFor(uint32_t largestValue);
  void reserve(size_t count) { bytes_.reserve(count << shift_); }
  void resize(size_t count) { bytes_.resize(count << shift_); }
  void shrink() { bytes_.shrink_to_fit(); }

 private:
  uint32_t largest() const { return shift_ == 0 ? 0xFF : shift_ == 1 ? 0xFFFF : 0xFFFFFFFF; }

  // get() and set() copy the low-order bytes of a number.
  std::vector<uint8_t> bytes_;
  unsigned shift_ = 0;  ///< each number has 1 << shift_ bytes
};

}  // namespace korvel
