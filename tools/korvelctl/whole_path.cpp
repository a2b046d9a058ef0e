#include "korvelctl/whole_path.h"

#include "base/utf.h"
#include "base/win.h"
#include "korvelctl/connection.h"
#include "korvelctl/exit_codes.h"
#include "korvelctl/printable.h"

namespace korvel::ctl {

std::wstring wholePath(const std::string& given) {
  const std::wstring path = toWide(given);
  const DWORD units = ::GetFullPathNameW(path.c_str(), 0, nullptr, /*filePart=*/nullptr);
  std::wstring whole(units, L'\0');
  const DWORD length = ::GetFullPathNameW(path.c_str(), units, whole.data(), /*filePart=*/nullptr);
  if (length == 0 || length >= units) throw Failure(kExitRefused, "not a path: " + printable(given));
  whole.resize(length);
  return whole;
}

}  // namespace korvel::ctl
