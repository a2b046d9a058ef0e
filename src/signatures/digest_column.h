// All digests of one kind: sorted binary keys in one flat array, a record number for each, and an index over
// the leading bits. 33 to 34 bytes for a SHA-256 digest, where a map of texts takes about 200.
//
// Usage: append() in any order, seal() once, then find() and mergeOlder(). Pure; find() is thread-safe once
// the column no longer changes. The functions that change a column throw std::bad_alloc, and
// std::length_error beyond 2^32 - 1 digests; after that the column can only be destroyed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "hash/hex_digest.h"
#include "signatures/record_numbers.h"

namespace korvel {

class RecordMerge;

template <size_t kBytes>
class DigestColumn {
 public:
  using Key = std::array<uint8_t, kBytes>;

  size_t size() const { return keys_.size(); }
  uint64_t residentBytes() const;

  /// Reserves memory for about `count` digests, so that append() does not reallocate.
  void reserve(size_t count);
  void append(const Key& key, uint32_t record) {
    if (!keys_.empty() && !isBelow(keys_.back(), key)) {
      repeats_ = true;  // possibly: only sorting shows
      ascending_ = ascending_ && keys_.back() == key;
    }
    keys_.push_back(key);
    records_.append(record);
  }

  /// Sorts, unless filled in ascending order; of equal digests the first one appended stays.
  void seal();

  /// Adds the digests of `older` that this column lacks; where both have one, `merge` chooses the record.
  /// Uses this column's reserved memory if that suffices. Both columns must be sealed.
  void mergeOlder(const DigestColumn& older, const RecordMerge& merge);

  /// The digests of a sealed column in ascending order, and their records; `at` counts from 0.
  const Key& key(size_t at) const { return keys_[at]; }
  uint32_t record(size_t at) const { return records_.get(at); }

  /// The record of a digest of exactly `kBytes` bytes.
  std::optional<uint32_t> find(std::span<const uint8_t> digest) const;

 private:
  /// The order of the keys. The leading bytes nearly always decide, so they are compared inline.
  static bool isBelow(const Key& a, const Key& b) {
    const uint64_t leadA = leadingWord(a);
    const uint64_t leadB = leadingWord(b);
    return leadA != leadB ? leadA < leadB : a < b;
  }
  static uint64_t leadingWord(const Key& key) {
    return uint64_t{key[0]} << 56 | uint64_t{key[1]} << 48 | uint64_t{key[2]} << 40 | uint64_t{key[3]} << 32 |
           uint64_t{key[4]} << 24 | uint64_t{key[5]} << 16 | uint64_t{key[6]} << 8 | key[7];
  }
  size_t bucketOf(const uint8_t* key) const;
  std::vector<uint32_t> stableOrder();
  void permute(std::vector<uint32_t>& order);
  void dropRepeated();
  void shrinkIfWasteful();
  void buildBuckets();
  size_t countMissing(const DigestColumn& older) const;

  std::vector<Key> keys_;
  RecordNumbers records_;
  std::vector<uint32_t> bucketStarts_;  ///< first key of each bucket, then the number of keys
  unsigned bucketBits_ = 0;
  // About the keys appended so far.
  bool ascending_ = true;  ///< none is below the one before it
  bool repeats_ = false;   ///< some may be equal
};

extern template class DigestColumn<hash::kMd5Bytes>;
extern template class DigestColumn<hash::kSha1Bytes>;
extern template class DigestColumn<hash::kSha256Bytes>;

}  // namespace korvel
