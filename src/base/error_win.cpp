#include "base/error.h"
#include "base/win.h"

namespace korvel {

bool failWin32(std::string* error, const std::string& text) {
  const DWORD code = ::GetLastError();
  fail(error, text + ", win32=" + std::to_string(code));
  ::SetLastError(code);
  return false;
}

bool setWin32Error(std::string* error, const std::string& text) {
  const DWORD code = ::GetLastError();
  fail(error, text + " (win32=" + std::to_string(code) + ")");
  ::SetLastError(code);
  return false;
}

}  // namespace korvel
