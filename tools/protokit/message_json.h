// A message as JSON and back: for vectors, traces and the scripts of korvelmock. The names of the fields are
// those of docs/protocol.md. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "protocol/messages.h"

namespace korvel::kit {

using Json = nlohmann::ordered_json;

enum class Side { kRequest, kReply };

/// "GetStatus" for 1 and so on; empty for a number without an operation.
std::string operationName(uint32_t opcode);
/// The number of a name; nothing for a name without an operation.
std::optional<uint32_t> operationNumber(const std::string& name);

/// What a payload says, always an object; nothing when it cannot be decoded or the opcode is unknown. A reply
/// with the opcode of refusals is {"error": text}. Text that is no valid UTF-8 has U+FFFD in its place.
std::optional<Json> messageValue(Side side, uint32_t opcode, const std::string& payload);

/// The payload that says `value`. Fields that are missing have their defaults. A list may also be written as
/// {"times": N, "each": element}; "{n}" in a text of the element becomes 1 to N. Throws std::invalid_argument
/// for an unknown field, a field of another type, or an unknown opcode.
std::string messagePayload(Side side, uint32_t opcode, const Json& value);

}  // namespace korvel::kit
