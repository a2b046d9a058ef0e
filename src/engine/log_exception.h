// The last resort of a thread that must not end: one log line about an exception.
#pragma once

#include <exception>

#include "runtime/log.h"

namespace korvel::svc {

/// Logs `prefix` and the text of the exception. Without the memory for the line there is none.
void logException(LogLevel level, const char* prefix, const std::exception& exception) noexcept;

}  // namespace korvel::svc
