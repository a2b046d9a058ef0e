// This computer. Thread-safe.
#pragma once

#include <string>

namespace korvel::ctl {

/// Its name, UTF-8; empty when the system does not tell.
std::string computerName();

}  // namespace korvel::ctl
