// A PowerShell script that completes the command lines of this program. Pure and thread-safe.
#pragma once

#include <string>

#include "korvelctl/cli/command.h"

namespace korvel::ctl {

/// Completes commands, options and the words that options and arguments take; anything else is left to the
/// shell, which completes file names. Help texts are in `language`. ASCII punctuation only; ends in LF.
std::string powershellCompletion(const Command& root, Language language);

}  // namespace korvel::ctl
