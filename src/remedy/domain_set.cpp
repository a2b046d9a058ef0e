#include "remedy/domain_set.h"

#include <stdexcept>

namespace korvel {
namespace {

constexpr size_t kFirstSlots = 1024;

// FNV-1a, byte by byte, since the texts may be cut by the end of a piece.
constexpr uint64_t kHashStart = 0xCBF29CE484222325;
constexpr uint64_t hashWith(uint64_t hash, char c) {
  return (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
}

uint64_t hashOf(std::string_view text) {
  uint64_t hash = kHashStart;
  for (const char c : text) hash = hashWith(hash, c);
  return hash;
}

}  // namespace

bool DomainSet::insert(std::string_view domain) {
  if ((size_ + 1) * 5 > slots_.size() * 4) grow();
  size_t slot = firstSlot(hashOf(domain));
  for (; slots_[slot] != 0; slot = (slot + 1) % slots_.size()) {
    if (holdsAt(slots_[slot] - 1, domain)) return false;
  }
  if (textBytes_ + domain.size() >= UINT32_MAX) throw std::length_error("too many domains");
  slots_[slot] = static_cast<Offset>(textBytes_ + 1);
  for (const char c : domain) append(c);
  append('\n');
  ++size_;
  return true;
}

bool DomainSet::holdsAt(size_t offset, std::string_view domain) const {
  for (const char c : domain) {
    if (at(offset++) != c) return false;  // an LF, too, so this never reads beyond a shorter domain
  }
  return at(offset) == '\n';
}

size_t DomainSet::firstSlot(uint64_t hash) const {
  hash = (hash ^ hash >> 32) * 0x9E3779B97F4A7C15;  // the last letters reach the high bits
  return static_cast<size_t>((hash >> 32) * slots_.size() >> 32);
}

/// The texts are read again to fill the new table, so that the old one can go before it is made.
void DomainSet::grow() {
  const size_t slots = slots_.empty() ? kFirstSlots : slots_.size() + slots_.size() / 2;
  slots_.clear();
  slots_.shrink_to_fit();
  slots_.resize(slots);
  for (size_t at = 0; at < textBytes_; ++at) {
    const size_t begin = at;
    uint64_t hash = kHashStart;
    for (char c; (c = this->at(at)) != '\n'; ++at) hash = hashWith(hash, c);
    size_t slot = firstSlot(hash);
    while (slots_[slot] != 0) slot = (slot + 1) % slots;
    slots_[slot] = static_cast<Offset>(begin + 1);
  }
}

void DomainSet::append(char c) {
  if (textBytes_ % kPieceBytes == 0) pieces_.push_back(std::make_unique_for_overwrite<char[]>(kPieceBytes));
  pieces_.back()[textBytes_ % kPieceBytes] = c;
  ++textBytes_;
}

}  // namespace korvel
