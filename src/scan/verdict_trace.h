// How the verdict on a file came about. Pure.
#pragma once

#include <cstdint>

#include "pe/rule_sheet.h"

namespace korvel {

/// How much of a file the verdict rests on.
enum class FileReading {
  kWhole,
  kMissing,    ///< there is no such file, or its attributes cannot be read
  kEmpty,      ///< no byte, so no rule either
  kTooLarge,   ///< above the size limit
  kElsewhere,  ///< reading it would first fetch its content; not read
  kNotOpened,
  kBroken,  ///< a read failed; the digests are those of the part before
};

/// How a verdict came about.
struct VerdictTrace {
  FileReading reading = FileReading::kWhole;
  uint32_t win32 = 0;  ///< of kMissing, kNotOpened and kBroken
  RuleTrace rules;     ///< every rule that was evaluated, in its order
};

}  // namespace korvel
