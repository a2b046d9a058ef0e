// The texts of signature entries. Millions of digests share a few hundred combinations of names, so each
// combination is kept once, as a numbered record, and each text once. Pure; not thread-safe while changed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "records/severity.h"

namespace korvel {

/// The fields of an entry besides its digest; the texts are borrowed.
struct SignatureFields {
  std::string_view tag;  ///< stored, never reported
  std::string_view threatName;
  std::string_view family;
  std::string_view reference;
  Severity severity = kSeverityHigh;
};

/// The threat name of an entry that has none. In a merge, any other name replaces it.
inline constexpr std::string_view kGenericThreatName = "Win.Trojan.Generic";

/// Movable only; a moved-from object can be destroyed or assigned.
class SignatureRecords {
 public:
  /// The record of an entry that consists only of a digest; every instance has it.
  static constexpr uint32_t kBareDigest = 0;

  SignatureRecords();

  size_t size() const { return records_.size(); }
  /// The texts live as long as this object.
  SignatureFields fields(uint32_t record) const;
  /// Memory held, in bytes.
  uint64_t residentBytes() const;

  /// Whether an entry with record `newer` replaces one with record `older`.
  bool replaces(uint32_t newer, uint32_t older) const;

 private:
  friend class SignatureInterner;

  /// Texts by number. Each text has one number, so equal records have equal members.
  struct Record {
    uint32_t tag;
    uint32_t threatName;
    uint32_t family;
    uint32_t reference;
    Severity severity;

    bool operator==(const Record&) const = default;
  };
  static constexpr uint32_t kEmptyText = 0;
  static constexpr uint32_t kGenericText = 1;

  /// Copies `text` into the blocks.
  std::string_view keep(std::string_view text);

  std::vector<Record> records_;
  std::vector<std::string_view> texts_;  ///< into the blocks
  std::vector<std::unique_ptr<char[]>> blocks_;
  uint64_t blockBytes_ = 0;  ///< of all blocks together
  char* free_ = nullptr;     ///< the unused rest of the newest shared block
  size_t freeBytes_ = 0;
};

/// Finds or adds records. Exists only while a table is filled; it needs more memory than the records.
class SignatureInterner {
 public:
  /// `records` must outlive this object and stay where it is.
  explicit SignatureInterner(SignatureRecords& records);

  /// The number of the record with these fields. Throws std::length_error beyond 2^32 - 1 records or texts.
  uint32_t intern(const SignatureFields& fields);

 private:
  struct RecordHash {
    size_t operator()(const SignatureRecords::Record& record) const;
  };
  uint32_t internText(std::string_view text);

  SignatureRecords& records_;
  std::unordered_map<std::string_view, uint32_t> textNumbers_;
  std::unordered_map<SignatureRecords::Record, uint32_t, RecordHash> recordNumbers_;
};

/// Maps the record numbers of an older table to those of a newer one, and chooses between two entries for the
/// same digest. Thread-safe.
class RecordMerge {
 public:
  /// Adds the records of `older` to `newer`, which must outlive this object.
  RecordMerge(SignatureRecords& newer, const SignatureRecords& older);

  /// The newer table's number for a record of the older table.
  uint32_t fromOlder(uint32_t older) const { return fromOlder_[older]; }
  /// The record that stays, in the newer table's numbers.
  uint32_t choose(uint32_t newer, uint32_t older) const {
    return newer_.replaces(newer, fromOlder_[older]) ? newer : fromOlder_[older];
  }
  uint32_t largest() const { return static_cast<uint32_t>(newer_.size() - 1); }

 private:
  const SignatureRecords& newer_;
  std::vector<uint32_t> fromOlder_;
};

}  // namespace korvel
