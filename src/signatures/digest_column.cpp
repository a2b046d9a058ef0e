#include "signatures/digest_column.h"

#include <algorithm>
#include <bit>
#include <compare>
#include <cstring>
#include <limits>
#include <numeric>
#include <stdexcept>

#include "signatures/signature_records.h"

namespace korvel {
namespace {

constexpr size_t kKeysPerBucket = 16;  // at most, on average: the index costs 1/4 to 1/2 byte per key
constexpr unsigned kMaxBucketBits = 28;
constexpr unsigned kMaxSortBits = 16;
constexpr size_t kSpareKeys = 1024;  // unused capacity that is not worth releasing

uint32_t leadingBits(const uint8_t* key) {
  return uint32_t{key[0]} << 24 | uint32_t{key[1]} << 16 | uint32_t{key[2]} << 8 | key[3];
}

/// Throws unless `count` positions fit into 32 bits.
void requireCountable(size_t count) {
  if (count >= std::numeric_limits<uint32_t>::max()) throw std::length_error("too many digests");
}

}  // namespace

template <size_t kBytes>
uint64_t DigestColumn<kBytes>::residentBytes() const {
  return keys_.capacity() * kBytes + records_.residentBytes() + bucketStarts_.capacity() * sizeof(uint32_t);
}

template <size_t kBytes>
void DigestColumn<kBytes>::reserve(size_t count) {
  keys_.reserve(count);
  records_.reserve(count);
}

template <size_t kBytes>
void DigestColumn<kBytes>::seal() {
  requireCountable(keys_.size());
  if (!ascending_) {
    std::vector<uint32_t> order = stableOrder();
    permute(order);
  }
  if (repeats_) dropRepeated();
  shrinkIfWasteful();
  buildBuckets();
}

/// The positions of all keys in ascending order of the keys, equal keys in the order in which they were
/// appended. Distributes by the leading bits first, so that the comparisons of one bucket stay in the cache.
template <size_t kBytes>
std::vector<uint32_t> DigestColumn<kBytes>::stableOrder() {
  const auto bits = std::min(kMaxSortBits, static_cast<unsigned>(std::bit_width(keys_.size())));
  const auto bucket = [bits](const Key& key) { return leadingBits(key.data()) >> (32 - bits); };
  std::vector<uint32_t> ends((size_t{1} << bits) + 1);
  for (const Key& key : keys_) ++ends[bucket(key) + 1];
  std::partial_sum(ends.begin(), ends.end(), ends.begin());

  std::vector<uint32_t> order(keys_.size());
  for (uint32_t at = 0; at < keys_.size(); ++at) order[ends[bucket(keys_[at])]++] = at;
  const auto before = [this](uint32_t a, uint32_t b) {
    const auto relation = keys_[a] <=> keys_[b];
    return relation != 0 ? relation < 0 : a < b;
  };
  uint32_t begin = 0;
  for (const uint32_t end : ends) {  // each now points to the end of its bucket
    std::sort(order.begin() + begin, order.begin() + end, before);
    begin = end;
  }
  return order;
}

/// Moves key order[i] to position i, following the cycles of the permutation, because a second array of keys
/// would double the memory. `order` becomes the identity.
template <size_t kBytes>
void DigestColumn<kBytes>::permute(std::vector<uint32_t>& order) {
  for (uint32_t start = 0; start < order.size(); ++start) {
    if (order[start] == start) continue;
    const Key firstKey = keys_[start];
    const uint32_t firstRecord = records_.get(start);
    uint32_t place = start;
    while (order[place] != start) {
      const uint32_t from = order[place];
      keys_[place] = keys_[from];
      records_.set(place, records_.get(from));
      order[place] = place;
      place = from;
    }
    keys_[place] = firstKey;
    records_.set(place, firstRecord);
    order[place] = place;
  }
}

template <size_t kBytes>
void DigestColumn<kBytes>::dropRepeated() {
  size_t kept = 0;
  for (size_t at = 0; at < keys_.size(); ++at) {
    if (kept > 0 && keys_[kept - 1] == keys_[at]) continue;
    keys_[kept] = keys_[at];
    records_.set(kept, records_.get(at));
    ++kept;
  }
  keys_.resize(kept);
  records_.resize(kept);
}

template <size_t kBytes>
void DigestColumn<kBytes>::shrinkIfWasteful() {
  if (keys_.capacity() - keys_.size() <= keys_.size() / 16 + kSpareKeys) return;
  keys_.shrink_to_fit();
  records_.shrink();
}

template <size_t kBytes>
void DigestColumn<kBytes>::buildBuckets() {
  bucketBits_ = 0;
  while (bucketBits_ < kMaxBucketBits && keys_.size() >> bucketBits_ > kKeysPerBucket) ++bucketBits_;
  bucketStarts_ = std::vector<uint32_t>((size_t{1} << bucketBits_) + 1);
  for (const Key& key : keys_) ++bucketStarts_[bucketOf(key.data()) + 1];
  std::partial_sum(bucketStarts_.begin(), bucketStarts_.end(), bucketStarts_.begin());
}

template <size_t kBytes>
size_t DigestColumn<kBytes>::bucketOf(const uint8_t* key) const {
  return static_cast<size_t>(uint64_t{leadingBits(key)} >> (32 - bucketBits_));
}

/// Digests are distributed evenly, so the bits after those of the bucket give the approximate position in it.
/// The search starts there and doubles its step each time: it touches one or two cache lines for real
/// digests, and takes logarithmic time for crafted ones.
template <size_t kBytes>
std::optional<uint32_t> DigestColumn<kBytes>::find(std::span<const uint8_t> digest) const {
  if (keys_.empty() || digest.size() != kBytes) return std::nullopt;
  const size_t bucket = bucketOf(digest.data());
  size_t first = bucketStarts_[bucket];
  size_t last = bucketStarts_[bucket + 1];
  const uint64_t inBucket = uint64_t{leadingBits(digest.data())} << bucketBits_ & 0xFFFFFFFF;
  size_t probe = first + static_cast<size_t>((last - first) * inBucket >> 32);
  records_.prefetch(probe);  // the record number is not in the cache either
  for (size_t step = 1; first < last; step *= 2) {
    const int relation = std::memcmp(keys_[probe].data(), digest.data(), kBytes);
    if (relation == 0) return records_.get(probe);
    if (relation < 0) {
      first = probe + 1;
      probe = last - first > step ? first + step - 1 : first + (last - first) / 2;
    } else {
      last = probe;
      probe = last - first > step ? last - step : first + (last - first) / 2;
    }
  }
  return std::nullopt;
}

template <size_t kBytes>
size_t DigestColumn<kBytes>::countMissing(const DigestColumn& older) const {
  size_t missing = 0;
  size_t mine = 0;
  for (const Key& key : older.keys_) {
    while (mine < keys_.size() && keys_[mine] < key) ++mine;
    if (mine == keys_.size() || keys_[mine] != key) ++missing;
  }
  return missing;
}

template <size_t kBytes>
void DigestColumn<kBytes>::mergeOlder(const DigestColumn& older, const RecordMerge& merge) {
  size_t mine = keys_.size();
  size_t theirs = older.keys_.size();
  size_t out = mine + countMissing(older);
  requireCountable(out);
  keys_.reserve(out);  // exactly; resize() alone might double the capacity
  keys_.resize(out);
  records_.widenFor(merge.largest());
  records_.reserve(out);
  records_.resize(out);
  // Merge from the back, so that no key is overwritten before it is moved. Once `older` is used up, the
  // remaining keys are in place already.
  while (theirs > 0) {
    const auto relation =
        mine == 0 ? std::strong_ordering::less : keys_[mine - 1] <=> older.keys_[theirs - 1];
    --out;
    if (relation > 0) {
      --mine;
      keys_[out] = keys_[mine];
      records_.set(out, records_.get(mine));
      continue;
    }
    --theirs;
    keys_[out] = older.keys_[theirs];
    const uint32_t olderRecord = older.records_.get(theirs);
    if (relation < 0) {
      records_.set(out, merge.fromOlder(olderRecord));
    } else {
      --mine;
      records_.set(out, merge.choose(records_.get(mine), olderRecord));
    }
  }
  buildBuckets();
}

template class DigestColumn<hash::kMd5Bytes>;
template class DigestColumn<hash::kSha1Bytes>;
template class DigestColumn<hash::kSha256Bytes>;

}  // namespace korvel
