#include "signatures/signature_table.h"

#include <algorithm>
#include <utility>

namespace korvel {
namespace {

// The most entries for which memory is reserved from a size hint: a huge file with few entries must not
// reserve memory that it never fills.
constexpr uint64_t kMostReservedEntries = uint64_t{1} << 22;
// One spare entry is reserved per so many, for those that a merge with a small older table adds.
constexpr uint64_t kSpareShare = 128;

/// Resets to a default-constructed record, but keeps the memory of the texts for the next hit.
void clearMatch(SignatureMatch& match) {
  match.threatName.clear();
  match.family.clear();
  match.severity = SignatureMatch().severity;
  match.reference.clear();
  match.hash.clear();
}

template <size_t kBytes>
std::array<uint8_t, kBytes> keyOf(const hash::Digest& digest) {
  std::array<uint8_t, kBytes> key;
  std::copy_n(digest.bytes().begin(), kBytes, key.begin());
  return key;
}

}  // namespace

uint64_t SignatureTable::residentBytes() const {
  return records_.residentBytes() + md5_.residentBytes() + sha1_.residentBytes() + sha256_.residentBytes();
}

std::optional<uint32_t> SignatureTable::recordOf(std::span<const uint8_t> digest) const {
  switch (digest.size()) {
    case hash::kMd5Bytes:
      return md5_.find(digest);
    case hash::kSha1Bytes:
      return sha1_.find(digest);
    case hash::kSha256Bytes:
      return sha256_.find(digest);
    default:
      return std::nullopt;
  }
}

bool SignatureTable::fields(std::span<const uint8_t> digest, SignatureFields& fields) const {
  const std::optional<uint32_t> record = recordOf(digest);
  if (record) fields = records_.fields(*record);
  return record.has_value();
}

bool SignatureTable::find(std::span<const uint8_t> digest, SignatureMatch* match) const {
  SignatureFields entry;
  if (!fields(digest, entry)) return false;
  if (match == nullptr) return true;
  match->threatName = entry.threatName;
  match->family = entry.family;
  match->severity = entry.severity;
  match->reference = entry.reference;
  match->hash.resize(2 * digest.size());
  hash::encodeHex(digest, match->hash.data());
  return true;
}

bool SignatureTable::findText(std::string_view digest, SignatureMatch* match) const {
  hash::Digest binary;
  return binary.parse(digest) && find(binary.bytes(), match);
}

bool SignatureTable::lookup(std::string_view md5, std::string_view sha1, std::string_view sha256,
                            SignatureMatch* match) const {
  if (match != nullptr) clearMatch(*match);
  return findText(sha256, match) || findText(sha1, match) || findText(md5, match);
}

bool SignatureTable::lookup(const hash::FileDigests& digests, SignatureMatch* match) const {
  if (match != nullptr) clearMatch(*match);
  return find(digests.sha256, match) || find(digests.sha1, match) || find(digests.md5, match);
}

size_t SignatureTableBuilder::entriesToReserve(size_t lineBytes) const {
  const uint64_t lines = expectedBytes_ / lineBytes + 1;
  return static_cast<size_t>(std::min(kMostReservedEntries, lines + lines / kSpareShare));
}

void SignatureTableBuilder::add(const hash::Digest& digest, const SignatureFields& fields) {
  const uint32_t record = interner_.intern(fields);
  switch (digest.size()) {
    case hash::kMd5Bytes:
      return append(table_.md5_, keyOf<hash::kMd5Bytes>(digest), record);
    case hash::kSha1Bytes:
      return append(table_.sha1_, keyOf<hash::kSha1Bytes>(digest), record);
    case hash::kSha256Bytes:
      return append(table_.sha256_, keyOf<hash::kSha256Bytes>(digest), record);
    default:
      return;
  }
}

SignatureTable SignatureTableBuilder::finish() {
  table_.md5_.seal();
  table_.sha1_.seal();
  table_.sha256_.seal();
  return std::move(table_);
}

SignatureTable mergedTable(SignatureTable newer, const SignatureTable& older) {
  if (older.empty()) return newer;
  const RecordMerge merge(newer.records_, older.records_);
  newer.md5_.mergeOlder(older.md5_, merge);
  newer.sha1_.mergeOlder(older.sha1_, merge);
  newer.sha256_.mergeOlder(older.sha256_, merge);
  return newer;
}

}  // namespace korvel
