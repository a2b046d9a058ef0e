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

namespace {

class Win32Category : public std::error_category {
 public:
  const char* name() const noexcept override { return "win32"; }
  std::string message(int code) const override { return "win32=" + std::to_string(static_cast<DWORD>(code)); }
};

}  // namespace

const std::error_category& win32Category() {
  static const Win32Category category;
  return category;
}

}  // namespace korvel
