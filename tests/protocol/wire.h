// Payload bytes spelled out field by field, apart from the codec under test.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace korvel::test {

inline std::string little(uint64_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
  return text;
}

inline std::string u32(uint64_t value) { return little(value, 4); }
inline std::string u64(uint64_t value) { return little(value, 8); }
inline std::string text(std::string_view bytes) { return u32(bytes.size()) + std::string(bytes); }

/// A whole frame, any of its header fields wrong on purpose.
struct RawFrame {
  uint32_t magic = 0x4B52564C;
  uint32_t version = 1;
  uint32_t opcode = 0;
  uint32_t length = 0;
  std::string reserved = std::string(8, '\0');
  std::string payload = {};

  std::string bytes() const {
    return u32(magic) + u32(version) + u32(opcode) + u32(length) + reserved + payload;
  }
};

inline std::string frame(uint32_t opcode, const std::string& payload = {}) {
  RawFrame raw;
  raw.opcode = opcode;
  raw.length = static_cast<uint32_t>(payload.size());
  raw.payload = payload;
  return raw.bytes();
}

}  // namespace korvel::test
