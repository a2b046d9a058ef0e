// Makes paths absolute for the service, whose current folder is a different one.
#pragma once

#include <string>

namespace korvel::ctl {

/// The absolute path of `given` (UTF-8), relative to the client's current folder. Throws Failure when `given`
/// is not a path.
std::wstring wholePath(const std::string& given);

}  // namespace korvel::ctl
