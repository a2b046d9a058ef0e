// JSON as korvelctl prints it. Pure and thread-safe.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace korvel::ctl {

/// Indented UTF-8, ends in LF. Malformed bytes become U+FFFD.
std::string jsonText(const nlohmann::ordered_json& json);
/// One line, ends in LF.
std::string jsonLine(const nlohmann::ordered_json& json);

/// A number as a number, or as a string where other programs would lose digits: above 2^53.
nlohmann::ordered_json jsonNumber(uint64_t number);
/// "2026-11-20T21:40:12Z" for Unix seconds; null for 0.
nlohmann::ordered_json jsonTime(uint64_t utc);

}  // namespace korvel::ctl
