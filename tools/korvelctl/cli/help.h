// The help texts. Pure and thread-safe.
#pragma once

#include <cstddef>
#include <string>

#include "korvelctl/cli/command.h"

namespace korvel::ctl {

/// Everything about one command: its call, arguments, options, subcommands and examples. Ends in LF; lines
/// are wrapped at `columns` with an indent.
std::string helpText(const Command& command, Language language, size_t columns);

}  // namespace korvel::ctl
