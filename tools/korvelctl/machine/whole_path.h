// Paths from the command line. Windows only.
#pragma once

#include <string>

#include "korvelctl/cli/text.h"

namespace korvel::ctl {

/// The absolute path that a user means: resolved against the current folder, with every name kept as given,
/// trailing dots and blanks included. Throws Failure of kind kUsage when `given` is not a path.
std::wstring wholePath(const std::string& given, Language language);

}  // namespace korvel::ctl
