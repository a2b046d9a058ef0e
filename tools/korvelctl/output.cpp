#include "korvelctl/output.h"

#include <algorithm>

#include "base/files.h"
#include "base/utf.h"

namespace korvel::ctl {
namespace {

constexpr size_t kDefaultColumns = 79;
/// Older consoles refuse a write of more than 64 KiB.
constexpr size_t kConsolePieceUnits = 8192;

bool isConsoleHandle(HANDLE handle) {
  DWORD mode = 0;
  return KernelHandleTraits::valid(handle) && ::GetConsoleMode(handle, &mode) != FALSE;
}

void writeConsole(HANDLE console, std::wstring_view text) {
  while (!text.empty()) {
    const DWORD want = static_cast<DWORD>(std::min(text.size(), kConsolePieceUnits));
    DWORD written = 0;
    if (!::WriteConsoleW(console, text.data(), want, &written, /*reserved=*/nullptr) || written == 0) return;
    text.remove_prefix(written);
  }
}

}  // namespace

Output::Output(DWORD standardHandle)
    : handle_(::GetStdHandle(standardHandle)), isConsole_(isConsoleHandle(handle_)) {}

void Output::write(std::string_view text) const {
  if (isConsole_) {
    writeConsole(handle_, toWide(text));
  } else if (KernelHandleTraits::valid(handle_)) {
    (void)writeAll(handle_, text);  // a closed pipe is not an error
  }
}

size_t Output::columns() const {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (!isConsole_ || !::GetConsoleScreenBufferInfo(handle_, &info) || info.dwSize.X < 2)
    return kDefaultColumns;
  return static_cast<size_t>(info.dwSize.X) - 1;
}

}  // namespace korvel::ctl
