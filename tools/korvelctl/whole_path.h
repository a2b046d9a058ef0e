// Paths as the service must get them: whole, since it has a current folder of its own.
#pragma once

#include <string>

namespace korvel::ctl {

/// The path that `given` (UTF-8) names from the client's current folder. Throws Failure when it names none.
std::wstring wholePath(const std::string& given);

}  // namespace korvel::ctl
