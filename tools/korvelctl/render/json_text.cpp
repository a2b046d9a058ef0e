#include "korvelctl/render/json_text.h"

#include <nlohmann/json.hpp>

#include "korvelctl/render/texts.h"

namespace korvel::ctl {

std::string jsonText(const Json& json) {
  return json.dump(/*indent=*/2, /*indent_char=*/' ', /*ensure_ascii=*/false,
                   Json::error_handler_t::replace) +
         "\n";
}

std::string jsonLine(const Json& json) {
  return json.dump(/*indent=*/-1, /*indent_char=*/' ', /*ensure_ascii=*/false,
                   Json::error_handler_t::replace) +
         "\n";
}

Json jsonNumber(uint64_t number) {
  constexpr uint64_t kLargestExact = uint64_t{1} << 53;
  if (number > kLargestExact) return std::to_string(number);
  return number;
}

Json errorJson(const ItemError& error) {
  Json json{{"item", error.item}, {"kind", error.kind}, {"message", error.message}};
  json["win32"] = error.win32 ? Json(*error.win32) : Json();
  return json;
}

Json jsonTime(uint64_t utc) {
  if (utc == 0) return nullptr;
  return isoUtc(utc);
}

}  // namespace korvel::ctl
