#include "protocol/payload.h"

#include "base/utf.h"
#include "protocol/frame.h"

namespace korvel::ipc {
namespace {

template <size_t kBytes>
void append(std::string& to, const uint8_t (&bytes)[kBytes]) {
  to.append(reinterpret_cast<const char*>(bytes), kBytes);
}

}  // namespace

void PayloadWriter::putU32(uint32_t value) {
  uint8_t bytes[4];
  storeLe32(bytes, value);
  append(bytes_, bytes);
}

void PayloadWriter::putU64(uint64_t value) {
  uint8_t bytes[8];
  storeLe64(bytes, value);
  append(bytes_, bytes);
}

void PayloadWriter::putString(const std::string& text) {
  putU32(static_cast<uint32_t>(text.size()));
  bytes_ += text;
}

void PayloadWriter::putWString(const std::wstring& text) { putString(toUtf8(text)); }

uint32_t PayloadReader::getU32() {
  const std::optional<uint32_t> value = ok_ ? view_.u32(position_) : std::nullopt;
  ok_ = value.has_value();
  if (ok_) position_ += sizeof *value;
  return value.value_or(0);
}

uint64_t PayloadReader::getU64() {
  const std::optional<uint64_t> value = ok_ ? view_.u64(position_) : std::nullopt;
  ok_ = value.has_value();
  if (ok_) position_ += sizeof *value;
  return value.value_or(0);
}

std::string_view PayloadReader::takeText() {
  const size_t start = position_;
  const uint32_t count = getU32();
  if (!ok_) return {};
  if (count > remaining() || count > kMaxPayloadBytes) {
    position_ = start;
    ok_ = false;
    return {};
  }
  const std::string_view text(reinterpret_cast<const char*>(view_.data()) + position_, count);
  position_ += count;
  return text;
}

std::string PayloadReader::getString() { return std::string(takeText()); }
std::wstring PayloadReader::getWString() { return toWide(takeText()); }

}  // namespace korvel::ipc
