// JSON as korvelctl prints it. Pure and thread-safe.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "korvelctl/model/item_error.h"

namespace korvel::ctl {

/// Keeps the order in which fields are added.
using Json = nlohmann::ordered_json;

/// Indented UTF-8, ends in LF. Malformed bytes become U+FFFD.
std::string jsonText(const Json& json);
/// One line, ends in LF.
std::string jsonLine(const Json& json);

/// A number as a number, or as a string where other programs would lose digits: above 2^53.
Json jsonNumber(uint64_t number);
/// What failed, as each document lists it in `errors`; `win32` is null where there is no such code.
Json errorJson(const ItemError& error);
/// "2026-11-20T21:40:12Z" for Unix seconds; null for 0.
Json jsonTime(uint64_t utc);

}  // namespace korvel::ctl
