// A borrowed range of untrusted bytes, with the bounds check that all parsers use.
//
// Offsets come from the input, so they are 64-bit; the check subtracts from the size and cannot wrap.
// Multi-byte integers are little-endian. The bytes must outlive the view. A view is a value; several
// threads may use it as long as the bytes do not change.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace korvel {

class ByteView {
 public:
  ByteView() = default;
  ByteView(const uint8_t* data, size_t size) : bytes_(data, size) {}
  explicit ByteView(std::span<const uint8_t> bytes) : bytes_(bytes) {}
  explicit ByteView(std::string_view text)
      : bytes_(reinterpret_cast<const uint8_t*>(text.data()), text.size()) {}

  const uint8_t* data() const { return bytes_.data(); }
  size_t size() const { return bytes_.size(); }
  bool empty() const { return bytes_.empty(); }

  /// True when the `count` bytes from `offset` lie inside the range.
  bool has(uint64_t offset, uint64_t count) const {
    return offset <= bytes_.size() && count <= bytes_.size() - offset;
  }

  std::optional<uint8_t> u8(uint64_t offset) const {
    if (!has(offset, 1)) return std::nullopt;
    return bytes_[static_cast<size_t>(offset)];
  }
  std::optional<uint16_t> u16(uint64_t offset) const { return load<uint16_t>(offset); }
  std::optional<uint32_t> u32(uint64_t offset) const { return load<uint32_t>(offset); }
  std::optional<uint64_t> u64(uint64_t offset) const { return load<uint64_t>(offset); }

  /// The part of [offset, offset + count) that lies inside the range; empty when none does.
  ByteView clipped(uint64_t offset, uint64_t count) const {
    if (offset >= bytes_.size()) return {};
    const uint64_t room = bytes_.size() - offset;
    return ByteView(
        bytes_.subspan(static_cast<size_t>(offset), static_cast<size_t>(count < room ? count : room)));
  }

 private:
  template <typename T>
  std::optional<T> load(uint64_t offset) const {
    if (!has(offset, sizeof(T))) return std::nullopt;
    T value = 0;
    for (size_t i = 0; i < sizeof(T); ++i) {
      value = static_cast<T>(value | static_cast<T>(bytes_[static_cast<size_t>(offset) + i]) << (8 * i));
    }
    return value;
  }

  std::span<const uint8_t> bytes_;
};

/// Explicit little-endian stores for the writers of wire and file layouts.
inline void storeLe32(uint8_t* to, uint32_t value) {
  for (int i = 0; i < 4; ++i) to[i] = static_cast<uint8_t>(value >> (8 * i));
}
inline void storeLe64(uint8_t* to, uint64_t value) {
  for (int i = 0; i < 8; ++i) to[i] = static_cast<uint8_t>(value >> (8 * i));
}

}  // namespace korvel
