#include "korvelctl/machine/privileges.h"

namespace korvel::ctl {
namespace {

/// False when the token does not hold the privilege, or has it on already.
bool switchPrivilege(HANDLE token, const LUID& privilege, DWORD attributes) {
  TOKEN_PRIVILEGES change{};
  change.PrivilegeCount = 1;
  change.Privileges[0] = {privilege, attributes};
  TOKEN_PRIVILEGES before{};
  DWORD size = sizeof before;
  return ::AdjustTokenPrivileges(token, /*disableAll=*/FALSE, &change, sizeof before, &before, &size) &&
         ::GetLastError() == ERROR_SUCCESS && before.PrivilegeCount == 1;
}

}  // namespace

bool isElevated() {
  UniqueHandle token;
  TOKEN_ELEVATION elevation{};
  DWORD size = 0;
  return ::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, token.receive()) &&
         ::GetTokenInformation(token.get(), TokenElevation, &elevation, sizeof elevation, &size) &&
         elevation.TokenIsElevated != 0;
}

PrivilegesOn::PrivilegesOn() {
  if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token_.receive()))
    return;
  for (const wchar_t* name : {SE_BACKUP_NAME, SE_RESTORE_NAME, SE_TAKE_OWNERSHIP_NAME}) {
    LUID privilege{};
    if (::LookupPrivilegeValueW(/*machine=*/nullptr, name, &privilege) &&
        switchPrivilege(token_.get(), privilege, SE_PRIVILEGE_ENABLED)) {
      switchedOn_.push_back(privilege);
    }
  }
}

PrivilegesOn::~PrivilegesOn() {
  for (const LUID& privilege : switchedOn_) (void)switchPrivilege(token_.get(), privilege, 0);
}

}  // namespace korvel::ctl
