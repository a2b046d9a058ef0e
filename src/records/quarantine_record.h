// One entry of the quarantine index.
#pragma once

#include <cstdint>
#include <string>

#include "records/severity.h"

namespace korvel {

struct QuarantineRecord {
  uint64_t id = 0;            ///< Unix milliseconds of the moment of quarantining; 0 = no record
  std::wstring originalPath;  ///< as the caller gave it
  std::wstring storedPath;    ///< inside the quarantine directory
  std::wstring name;          ///< last component of the original path
  std::string sha256;         ///< as the caller gave it
  std::string threat;         ///< threat name, UTF-8
  std::string code;           ///< rule code
  Severity severity = kSeverityHigh;
  uint64_t size = 0;              ///< bytes; 0 when it could not be read
  uint64_t time = 0;              ///< Unix seconds of the moment of quarantining
  bool storedFileExists = false;  ///< determined when the index is read; not stored in it

  bool operator==(const QuarantineRecord&) const = default;
};

}  // namespace korvel
