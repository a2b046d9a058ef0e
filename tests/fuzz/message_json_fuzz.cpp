// Every message of the pipe, both ways: bytes as JSON and back, and JSON as vectors and scripts hold it. The
// first byte chooses the message, its lowest bit the side; the upper half of all values is for JSON.
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "fuzz/payload_input.h"
#include "protocol/messages.h"
#include "protokit/byte_pieces.h"
#include "protokit/message_json.h"

using namespace korvel;
using fuzz::require;

namespace {

constexpr uint64_t kMostTimes = 100;  // a list that repeats more only takes long

/// What a payload says is what its own JSON says.
void checkPayload(kit::Side side, uint32_t opcode, const std::string& payload) {
  const auto value = kit::messageValue(side, opcode, payload);
  if (!value) return;
  require(value->is_object());
  const std::string again = kit::messagePayload(side, opcode, *value);
  require(kit::messageValue(side, opcode, again) == value);
  require(kit::messagePayload(side, opcode, *value) == again);
}

bool repeatsMuch(const kit::Json& json) {
  if (json.is_object() && json.contains("times") && json["times"].is_number() && json["times"] > kMostTimes)
    return true;
  if (!json.is_structured()) return false;
  for (const kit::Json& part : json) {
    if (repeatsMuch(part)) return true;
  }
  return false;
}

void checkJson(kit::Side side, uint32_t opcode, const std::string& text) {
  const kit::Json json = kit::Json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (json.is_discarded() || repeatsMuch(json)) return;
  std::string payload;
  try {
    payload = kit::messagePayload(side, opcode, json);
  } catch (const std::invalid_argument& refusal) {
    require(*refusal.what() != '\0');
    return;
  }
  checkPayload(side, opcode, payload);
}

void checkPieces(const std::string& text) {
  std::string bytes;
  try {
    bytes = kit::bytesOfHex(text);
  } catch (const std::invalid_argument&) {
    return;
  }
  require(kit::bytesOfHex(kit::hexOf(bytes)) == bytes && kit::bytesOfPieces(kit::hexOf(bytes)) == bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const kit::Side side = (data[0] & 1) != 0 ? kit::Side::kReply : kit::Side::kRequest;
  const uint32_t number = (data[0] & 0x7F) >> 1;
  const uint32_t opcode = number == 0x3F ? ipc::kErrorOpcode : number % (ipc::kLastOpcode + 2);
  const std::string rest = fuzz::payloadOf(data + 1, size - 1);
  if (data[0] < 0x80) {
    checkPayload(side, opcode, rest);
  } else {
    checkJson(side, opcode, rest);
    checkPieces(rest);
  }
  return 0;
}
