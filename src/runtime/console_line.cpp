#include "runtime/console_line.h"

#include "base/unique_resource.h"
#include "base/utf.h"
#include "base/win.h"

namespace korvel {
namespace {

/// Opened on first use and kept until the process ends; a failed open is retried at the next line.
HANDLE consoleOutput() {
  static HANDLE output = INVALID_HANDLE_VALUE;
  if (output == INVALID_HANDLE_VALUE) {
    output = ::CreateFileW(L"CONOUT$", GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                           /*security=*/nullptr, OPEN_EXISTING, /*flags=*/0, /*template=*/nullptr);
  }
  return output;
}

}  // namespace

void writeConsoleLine(const std::wstring& text) {
  HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
  if (!KernelHandleTraits::valid(output)) output = consoleOutput();
  if (!KernelHandleTraits::valid(output)) return;

  const std::wstring line = text + L"\r\n";
  DWORD written = 0;
  if (::WriteConsoleW(output, line.data(), static_cast<DWORD>(line.size()), &written, /*reserved=*/nullptr))
    return;
  // Redirected to a file or a pipe.
  const std::string bytes = toUtf8(line);
  (void)::WriteFile(output, bytes.data(), static_cast<DWORD>(bytes.size()), &written, /*overlapped=*/nullptr);
}

}  // namespace korvel
