// An exchange of a request and its reply in the form of docs/vectors. Pure and thread-safe.
#pragma once

#include <nlohmann/json.hpp>

#include "protocol/frame.h"

namespace korvel::kit {

/// {"opcode", "name", "cases"}: the request, and the reply where there is one (`reply` may be null). A case
/// has "kind", "payload" in hexadecimal and "value", null where it cannot be decoded; the case of a reply
/// with another opcode than the request's also has that "opcode".
nlohmann::ordered_json exchangeVector(const ipc::Frame& request, const ipc::Frame* reply);

}  // namespace korvel::kit
