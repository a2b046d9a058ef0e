// Something that went wrong with one item of a command that did more than that. A plain value.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace korvel::ctl {

struct ItemError {
  std::string item;     ///< what it is about: a path, a number, a key; UTF-8
  std::string kind;     ///< "usage", "refused", "guard", "busy", "io" and so on; ASCII, stable
  std::string message;  ///< for people; UTF-8, one line
  std::optional<uint32_t> win32;

  bool operator==(const ItemError&) const = default;
};

}  // namespace korvel::ctl
