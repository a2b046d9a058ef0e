// The result of a signature lookup.
#pragma once

#include <string>

#include "records/severity.h"

namespace korvel {

/// A default-constructed record is the cleared one: no texts, severity 3.
struct SignatureMatch {
  std::string threatName;
  std::string family;
  Severity severity = kSeverityHigh;
  std::string reference;
  std::string hash;  ///< the lower-case digest that matched

  bool operator==(const SignatureMatch&) const = default;
};

}  // namespace korvel
