// What an installation and a removal of the service change besides its registration and its rights. Each adds
// a step, and reports what failed; with --dry-run it only says what it would do.
#pragma once

#include <string>

#include "korvelctl/commands/steps.h"

namespace korvel::ctl {

/// Writes the update server into the settings unless one is configured. The service must not run.
void setUpdateServer(Context& context, const std::string& url, const std::wstring& programFolder,
                     Steps& steps);
void addToPath(Context& context, const std::wstring& programFolder, Steps& steps);

/// The service need not run. A firewall that cannot be asked is told, and is no error: where it is off, its
/// rules do nothing either.
void removeFirewallRules(Context& context, Steps& steps);
/// The service must not run.
void removeHostsBlock(Context& context, Steps& steps);
void removeFromPath(Context& context, const std::wstring& programFolder, Steps& steps);
/// The data folder, and the scan cache beside it. A quarantine outside the data folder stays, and that is
/// told.
void removeData(Context& context, Steps& steps);

}  // namespace korvel::ctl
