// The signature entries of one or more files in compact form, designed for four million of them: one column
// of binary digests for each digest kind, and the entries' texts as shared records.
//
// A table is filled once, by SignatureTableBuilder or by mergedTable(), and then only queried. Pure. Queries
// are thread-safe. Building and merging throw std::bad_alloc, and std::length_error beyond 2^32 - 1 entries
// of a kind.
#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

#include "hash/file_digests.h"
#include "hash/hex_digest.h"
#include "signatures/digest_column.h"
#include "signatures/signature_match.h"
#include "signatures/signature_records.h"

namespace korvel {

/// Movable only.
class SignatureTable {
 public:
  uint64_t size() const { return md5_.size() + sha1_.size() + sha256_.size(); }
  bool empty() const { return size() == 0; }
  /// Memory held, in bytes.
  uint64_t residentBytes() const;

  /// Looks a digest up. Its kind follows from its length: 16, 20 or 32 bytes; any other length is not listed.
  /// On a hit fills `match`, which may be null; on a miss leaves it unchanged.
  bool find(std::span<const uint8_t> digest, SignatureMatch* match) const;

  /// As above for 32, 40 or 64 hexadecimal characters of any case; any other text is not listed.
  bool findText(std::string_view digest, SignatureMatch* match) const;

  /// Tries SHA-256, then SHA-1, then MD5; the first listed digest counts. Empty = not known. `match` may be
  /// null; it is cleared, then filled on a hit.
  bool lookup(std::string_view md5, std::string_view sha1, std::string_view sha256,
              SignatureMatch* match) const;
  /// The same for the digests of one file.
  bool lookup(const hash::FileDigests& digests, SignatureMatch* match) const;

  /// The fields of an entry, its tag included; false when the digest is not listed. They live as long as the
  /// table.
  bool fields(std::span<const uint8_t> digest, SignatureFields& fields) const;

 private:
  friend class SignatureCursor;
  friend class SignatureTableBuilder;
  friend SignatureTable mergedTable(SignatureTable newer, const SignatureTable& older);

  std::optional<uint32_t> recordOf(std::span<const uint8_t> digest) const;

  SignatureRecords records_;
  DigestColumn<hash::kMd5Bytes> md5_;
  DigestColumn<hash::kSha1Bytes> sha1_;
  DigestColumn<hash::kSha256Bytes> sha256_;
};

/// Visits every entry of a table in the order of the digests' texts; a digest comes before a longer one that
/// begins with it. The table must outlive the cursor and keep its place. Not thread-safe.
///
///   for (SignatureCursor at(table); !at.atEnd(); at.next()) use(at.digest(), at.fields());
class SignatureCursor {
 public:
  explicit SignatureCursor(const SignatureTable& table) : table_(table) { choose(); }

  bool atEnd() const { return digest_.empty(); }
  void next();

  /// Of the current entry. Both live as long as the table.
  std::span<const uint8_t> digest() const { return digest_; }
  SignatureFields fields() const { return table_.records_.fields(record_); }
  /// Whether nothing but the digest is known of it.
  bool isBare() const { return record_ == SignatureRecords::kBareDigest; }

 private:
  void choose();
  template <size_t kBytes>
  void consider(const DigestColumn<kBytes>& column, size_t at);

  const SignatureTable& table_;
  size_t md5At_ = 0;
  size_t sha1At_ = 0;
  size_t sha256At_ = 0;
  std::span<const uint8_t> digest_;  ///< empty at the end
  uint32_t record_ = SignatureRecords::kBareDigest;
};

/// Fills a table with the entries of one file, in the file's order: the first entry of a digest stays. Not
/// thread-safe.
class SignatureTableBuilder {
 public:
  SignatureTableBuilder() : interner_(table_.records_) {}
  SignatureTableBuilder(const SignatureTableBuilder&) = delete;
  SignatureTableBuilder& operator=(const SignatureTableBuilder&) = delete;

  /// The number of bytes of text to come: a hint from which memory for their entries is reserved at once.
  void expect(uint64_t textBytes) { expectedBytes_ = textBytes; }

  void add(const hash::Digest& digest, const SignatureFields& fields);
  /// An entry that is only a SHA-256 digest.
  void addBare(const DigestColumn<hash::kSha256Bytes>::Key& key) {
    append(table_.sha256_, key, SignatureRecords::kBareDigest);
  }

  /// The finished table. The builder can only be destroyed afterwards.
  SignatureTable finish();

 private:
  template <size_t kBytes>
  void append(DigestColumn<kBytes>& column, const std::array<uint8_t, kBytes>& key, uint32_t record) {
    if (column.size() == 0) column.reserve(entriesToReserve(2 * kBytes + 1));
    column.append(key, record);
  }
  size_t entriesToReserve(size_t lineBytes) const;

  SignatureTable table_;
  SignatureInterner interner_;
  uint64_t expectedBytes_ = 0;
};

/// The entries of both tables. Where both list a digest the older entry stays, unless the newer one has a
/// reference or a family that the older one lacks, or a name other than the generic one. Reuses the memory of
/// `newer`; `older` is unchanged.
SignatureTable mergedTable(SignatureTable newer, const SignatureTable& older);

// A cursor is inline, because writing a large table is little more than visiting it.

inline void SignatureCursor::next() {
  switch (digest_.size()) {
    case hash::kMd5Bytes:
      ++md5At_;
      break;
    case hash::kSha1Bytes:
      ++sha1At_;
      break;
    case hash::kSha256Bytes:
      ++sha256At_;
      break;
    default:
      return;
  }
  choose();
}

inline void SignatureCursor::choose() {
  digest_ = {};
  consider(table_.md5_, md5At_);
  consider(table_.sha1_, sha1At_);
  consider(table_.sha256_, sha256At_);
}

/// Shorter digests are considered first, so the one chosen so far is never longer than `column`'s.
template <size_t kBytes>
inline void SignatureCursor::consider(const DigestColumn<kBytes>& column, size_t at) {
  if (at == column.size()) return;
  const auto& key = column.key(at);
  if (!digest_.empty() && std::memcmp(key.data(), digest_.data(), digest_.size()) >= 0) return;
  digest_ = key;
  record_ = column.record(at);
}

}  // namespace korvel
