#include "signatures/signature_records.h"

#include <cstring>
#include <limits>
#include <stdexcept>

#include "base/sizes.h"

namespace korvel {
namespace {

constexpr size_t kBlockBytes = 16 * kKiB;
constexpr size_t kOwnBlockBytes = 1 * kKiB;  // a text of at least this size gets its own block

uint32_t nextNumber(size_t count) {
  if (count >= std::numeric_limits<uint32_t>::max()) throw std::length_error("too many signature texts");
  return static_cast<uint32_t>(count);
}

}  // namespace

SignatureRecords::SignatureRecords()
    : records_{{kEmptyText, kGenericText, kGenericText, kEmptyText, kSeverityHigh}},
      texts_{std::string_view(), kGenericThreatName} {}

SignatureFields SignatureRecords::fields(uint32_t record) const {
  const Record& r = records_[record];
  return {texts_[r.tag], texts_[r.threatName], texts_[r.family], texts_[r.reference], r.severity};
}

uint64_t SignatureRecords::residentBytes() const {
  return records_.capacity() * sizeof(Record) + texts_.capacity() * sizeof(std::string_view) +
         blocks_.capacity() * sizeof(blocks_[0]) + blockBytes_;
}

bool SignatureRecords::replaces(uint32_t newer, uint32_t older) const {
  const Record& e = records_[newer];
  const Record& x = records_[older];
  return (e.reference != kEmptyText && x.reference == kEmptyText) ||
         (e.family != kEmptyText && x.family == kEmptyText) ||
         (e.threatName != kGenericText && x.threatName == kGenericText);
}

std::string_view SignatureRecords::keep(std::string_view text) {
  const bool own = text.size() >= kOwnBlockBytes;
  if (own || text.size() > freeBytes_) {
    const size_t bytes = own ? text.size() : kBlockBytes;
    blocks_.push_back(std::make_unique_for_overwrite<char[]>(bytes));
    blockBytes_ += bytes;
    char* block = blocks_.back().get();
    if (own) {
      std::memcpy(block, text.data(), text.size());
      return {block, text.size()};
    }
    free_ = block;
    freeBytes_ = bytes;
  }
  std::memcpy(free_, text.data(), text.size());
  const std::string_view kept(free_, text.size());
  free_ += text.size();
  freeBytes_ -= text.size();
  return kept;
}

SignatureInterner::SignatureInterner(SignatureRecords& records) : records_(records) {
  for (size_t text = 0; text < records.texts_.size(); ++text) {
    textNumbers_.emplace(records.texts_[text], static_cast<uint32_t>(text));
  }
  for (size_t record = 0; record < records.records_.size(); ++record) {
    recordNumbers_.emplace(records.records_[record], static_cast<uint32_t>(record));
  }
}

size_t SignatureInterner::RecordHash::operator()(const SignatureRecords::Record& record) const {
  uint64_t hash = static_cast<uint32_t>(record.severity);
  for (const uint32_t text : {record.tag, record.threatName, record.family, record.reference}) {
    hash = (hash ^ text) * 0x9E3779B97F4A7C15u;  // 2^64 over the golden ratio: spreads small numbers
    hash ^= hash >> 32;
  }
  return static_cast<size_t>(hash);
}

uint32_t SignatureInterner::intern(const SignatureFields& fields) {
  const SignatureRecords::Record record{internText(fields.tag), internText(fields.threatName),
                                        internText(fields.family), internText(fields.reference),
                                        fields.severity};
  if (const auto known = recordNumbers_.find(record); known != recordNumbers_.end()) return known->second;
  const uint32_t number = nextNumber(records_.records_.size());
  records_.records_.push_back(record);
  recordNumbers_.emplace(record, number);
  return number;
}

uint32_t SignatureInterner::internText(std::string_view text) {
  if (const auto known = textNumbers_.find(text); known != textNumbers_.end()) return known->second;
  const uint32_t number = nextNumber(records_.texts_.size());
  const std::string_view kept = records_.keep(text);
  records_.texts_.push_back(kept);
  textNumbers_.emplace(kept, number);
  return number;
}

RecordMerge::RecordMerge(SignatureRecords& newer, const SignatureRecords& older) : newer_(newer) {
  SignatureInterner interner(newer);
  fromOlder_.reserve(older.size());
  for (uint32_t record = 0; record < older.size(); ++record) {
    fromOlder_.push_back(interner.intern(older.fields(record)));
  }
}

}  // namespace korvel
