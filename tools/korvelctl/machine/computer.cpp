#include "korvelctl/machine/computer.h"

#include "base/utf.h"
#include "base/win.h"

namespace korvel::ctl {

std::string computerName() {
  wchar_t name[256];
  DWORD units = static_cast<DWORD>(std::size(name));
  return ::GetComputerNameExW(ComputerNameDnsHostname, name, &units) ? toUtf8({name, units}) : std::string();
}

}  // namespace korvel::ctl
