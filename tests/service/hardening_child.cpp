// Tries to load a library that lies beside it, by its bare name. The exit code is 0 when that worked, else
// the error.
//
//   hardening_child LIBRARY [hardened]
#include "base/win.h"
#include "service/process_hardening.h"

int wmain(int count, wchar_t** arguments) {
  if (count < 2) return ERROR_BAD_ARGUMENTS;
  if (count > 2) korvel::svc::hardenProcess();
  return ::LoadLibraryW(arguments[1]) != nullptr ? ERROR_SUCCESS : static_cast<int>(::GetLastError());
}
