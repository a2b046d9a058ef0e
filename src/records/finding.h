// One finding of a verdict: a rule that matched.
#pragma once

#include <string>

#include "records/severity.h"

namespace korvel {

/// A plain value. The texts are UTF-8 and are shown to the user unchanged.
struct Finding {
  Severity severity = kSeverityClean;
  std::string code;    ///< ASCII: "SIG.MATCH", "FS.DOUBLE_EXT", "PE.PACKED"
  std::string title;   ///< short Russian headline
  std::string detail;  ///< Russian explanation with the file's own values

  bool operator==(const Finding&) const = default;
};

}  // namespace korvel
