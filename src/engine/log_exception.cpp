#include "engine/log_exception.h"

#include <string>

namespace korvel::svc {

void logException(LogLevel level, const char* prefix, const std::exception& exception) noexcept {
  try {
    Log::instance().write(level, std::string(prefix) + exception.what());
  } catch (const std::exception&) {
    // the thread goes on
  }
}

}  // namespace korvel::svc
