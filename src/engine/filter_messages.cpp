#include "engine/filter_messages.h"

namespace korvel::svc {
namespace {

constexpr uint32_t kMagic = 0x4C56524B;  // the bytes "KRVL"
constexpr uint32_t kVersion = 1;
constexpr uint32_t kTypeQuery = 1;
constexpr uint32_t kTypeOtherQuery = 2;
constexpr uint32_t kTypeKeepAlive = 3;
constexpr uint32_t kTypeAnswer = 10;

// Offsets of the fields: the header of the filter library, then the body, which begins with a head of its
// own.
constexpr size_t kBodyLength = 0;  // the header's first field, taken as the length of the body
constexpr size_t kMessageId = 8;
constexpr size_t kBody = 16;
constexpr size_t kBodyMagic = kBody;
constexpr size_t kBodyVersion = kBody + 4;
constexpr size_t kBodyType = kBody + 8;
constexpr size_t kBodySize = kBody + 12;
constexpr size_t kQueryPath = kBody + 28;
constexpr size_t kAnswerBlocks = kBody + 16;

constexpr uint32_t kHeadBytes = 16;  // of the body
constexpr uint32_t kMaxBodyBytes = 1'060;
constexpr uint32_t kShortestQueryBytes = 1'056;
constexpr size_t kPathBytes = 1'024;

std::wstring pathIn(ByteView buffer) {
  std::wstring path;
  for (size_t at = 0; at < kPathBytes; at += 2) {
    const uint16_t unit = buffer.u16(kQueryPath + at).value_or(0);
    if (unit == 0) break;
    path.push_back(static_cast<wchar_t>(unit));
  }
  return path;
}

}  // namespace

std::optional<FilterMessage> decodeFilterMessage(ByteView buffer) {
  if (!buffer.has(0, kBody + kHeadBytes)) return std::nullopt;
  const uint32_t length = *buffer.u32(kBodyLength);
  const uint32_t bodySize = *buffer.u32(kBodySize);
  const bool valid = length <= kMaxBodyBytes && *buffer.u32(kBodyMagic) == kMagic &&
                     *buffer.u32(kBodyVersion) == kVersion && bodySize >= kHeadBytes && bodySize <= length;
  if (!valid) return std::nullopt;

  FilterMessage message;
  message.messageId = filterMessageId(buffer);
  switch (*buffer.u32(kBodyType)) {
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

uint64_t filterMessageId(ByteView buffer) { return buffer.u64(kMessageId).value_or(0); }

std::array<uint8_t, kFilterAnswerBytes> encodeFilterAnswer(uint64_t messageId, bool block) {
  std::array<uint8_t, kFilterAnswerBytes> answer{};
  storeLe64(&answer[kMessageId], messageId);
  storeLe32(&answer[kBodyMagic], kMagic);
  storeLe32(&answer[kBodyVersion], kVersion);
  storeLe32(&answer[kBodyType], kTypeAnswer);
  storeLe32(&answer[kBodySize], static_cast<uint32_t>(kFilterAnswerBytes));
  storeLe32(&answer[kAnswerBlocks], block ? 1 : 0);
  return answer;
}

}  // namespace korvel::svc
