#include "engine/filter_messages.h"

namespace korvel::svc {
namespace {

constexpr uint32_t kMagic = 0x4C56524B;  // the bytes "KRVL"
constexpr uint32_t kVersion = 1;
constexpr uint32_t kHeadBytes = 16;
constexpr uint32_t kMaxBodyBytes = 1'060;
constexpr uint32_t kShortestQueryBytes = 1'056;
constexpr uint32_t kTypeQuery = 1;
constexpr uint32_t kTypeOtherQuery = 2;
constexpr uint32_t kTypeKeepAlive = 3;
constexpr uint32_t kTypeAnswer = 10;

constexpr size_t kMessageIdOffset = 8;
constexpr size_t kBodyOffset = 16;
constexpr size_t kPathOffset = kBodyOffset + 28;
constexpr size_t kPathBytes = 1'024;

std::wstring pathIn(ByteView buffer) {
  std::wstring path;
  for (size_t at = 0; at < kPathBytes; at += 2) {
    const uint16_t unit = buffer.u16(kPathOffset + at).value_or(0);
    if (unit == 0) break;
    path.push_back(static_cast<wchar_t>(unit));
  }
  return path;
}

}  // namespace

std::optional<FilterMessage> decodeFilterMessage(ByteView buffer) {
  if (!buffer.has(0, kBodyOffset + kHeadBytes)) return std::nullopt;
  const uint32_t length = *buffer.u32(0);  // the header's first field, taken as the body's length
  const uint32_t bodySize = *buffer.u32(kBodyOffset + 12);
  const bool valid = length <= kMaxBodyBytes && *buffer.u32(kBodyOffset) == kMagic &&
                     *buffer.u32(kBodyOffset + 4) == kVersion && bodySize >= kHeadBytes && bodySize <= length;
  if (!valid) return std::nullopt;

  FilterMessage message;
  message.messageId = *buffer.u64(kMessageIdOffset);
  switch (*buffer.u32(kBodyOffset + 8)) {
    case kTypeKeepAlive:
      message.keepAlive = true;
      return message;
    case kTypeQuery:
    case kTypeOtherQuery:
      if (length < kShortestQueryBytes) return std::nullopt;
      message.path = pathIn(buffer);
      return message;
    default:
      return std::nullopt;
  }
}

std::array<uint8_t, kFilterAnswerBytes> encodeFilterAnswer(uint64_t messageId, bool block) {
  std::array<uint8_t, kFilterAnswerBytes> answer{};
  storeLe64(&answer[8], messageId);
  storeLe32(&answer[16], kMagic);
  storeLe32(&answer[20], kVersion);
  storeLe32(&answer[24], kTypeAnswer);
  storeLe32(&answer[28], static_cast<uint32_t>(kFilterAnswerBytes));
  storeLe32(&answer[32], block ? 1 : 0);
  return answer;
}

}  // namespace korvel::svc
