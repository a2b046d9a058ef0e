// Groups of commands that several files add to. Pure.
#pragma once

#include <string>

#include "korvelctl/cli/command.h"

namespace korvel::ctl {

/// The command `name` of `root`, added when it is not there yet.
inline Command& commandGroup(Command& root, const std::string& name, const Text& summary) {
  for (const auto& command : root.commands()) {
    if (command->name() == name) return *command;
  }
  return root.add(name, summary);
}

}  // namespace korvel::ctl
