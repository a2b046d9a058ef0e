// Bytes in JSON: one text of hexadecimal digits, or a list of such texts that follow each other. A text may
// end in "*N": its bytes N times. So the largest messages are short to write. Pure and thread-safe.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace korvel::kit {

using Json = nlohmann::ordered_json;

/// Lower-case digits without blanks.
std::string hexOf(std::string_view bytes);

/// The bytes of a text of digits in any case; blanks between two bytes count for nothing. Throws
/// std::invalid_argument.
std::string bytesOfHex(std::string_view hex);

/// The bytes of a text or of a list of texts. Throws std::invalid_argument, also for more than 64 MiB.
std::string bytesOfPieces(const Json& pieces);

}  // namespace korvel::kit
