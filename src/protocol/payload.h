// The encoding of payloads: little-endian integers and length-prefixed UTF-8 strings, in a fixed order for
// each opcode. Pure; objects are not thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "base/byte_view.h"

namespace korvel::ipc {

/// Appends fields to a byte buffer; never fails.
class PayloadWriter {
 public:
  void putU32(uint32_t value);
  void putU64(uint64_t value);
  void putBool(bool value) { putU32(value ? 1 : 0); }
  /// u32 byte count, then the bytes. `text` must be shorter than 4 GiB.
  void putString(const std::string& text);
  /// UTF-16 to UTF-8, then as putString().
  void putWString(const std::wstring& text);
  const std::string& bytes() const { return bytes_; }
  std::string take() { return std::move(bytes_); }

 private:
  std::string bytes_;
};

/// Reads fields in order. Once a field does not fit, ok() stays false and every further read yields 0 or an
/// empty text; failed reads do not move the position. Borrows the payload.
class PayloadReader {
 public:
  explicit PayloadReader(const std::string& payload) : view_(std::string_view(payload)) {}

  uint32_t getU32();
  uint64_t getU64();
  bool getBool() { return getU32() != 0; }
  std::string getString();
  std::wstring getWString();
  bool ok() const { return ok_; }
  size_t remaining() const { return view_.size() - position_; }

 private:
  /// The bytes of a length-prefixed text, inside the payload; empty on failure.
  std::string_view takeText();

  ByteView view_;
  size_t position_ = 0;
  bool ok_ = true;
};

}  // namespace korvel::ipc
