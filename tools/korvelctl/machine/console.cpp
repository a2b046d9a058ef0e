#include "korvelctl/machine/console.h"

#include <algorithm>

#include "base/files.h"
#include "base/sizes.h"
#include "base/utf.h"

namespace korvel::ctl {
namespace {

/// Older consoles refuse a write of more than 64 KiB.
constexpr size_t kConsolePieceUnits = 8192;
constexpr size_t kMostInputBytes = 64 * kMiB;
/// Not in the headers of every compiler version.
constexpr DWORD kVirtualTerminal = 0x0004;

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

StandardOutput::StandardOutput(DWORD standardHandle)
    : handle_(::GetStdHandle(standardHandle)), isConsole_(isConsoleHandle(handle_)) {}

void StandardOutput::write(std::string_view text) {
  if (isConsole_) {
    writeConsole(handle_, toWide(text));
  } else if (KernelHandleTraits::valid(handle_)) {
    (void)writeAll(handle_, text);  // a closed pipe is not an error
  }
}

size_t StandardOutput::columns() const {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (!isConsole_ || !::GetConsoleScreenBufferInfo(handle_, &info) || info.dwSize.X < 2) return 0;
  return static_cast<size_t>(info.dwSize.X) - 1;
}

bool StandardOutput::enableColors() {
  DWORD mode = 0;
  return isConsole_ && ::GetConsoleMode(handle_, &mode) && ::SetConsoleMode(handle_, mode | kVirtualTerminal);
}

bool canAskOnConsole(const Output& err) {
  return isConsoleHandle(::GetStdHandle(STD_INPUT_HANDLE)) && err.isTerminal();
}

std::optional<std::string> askOnConsole(Output& err, const std::string& question) {
  if (!canAskOnConsole(err)) return std::nullopt;
  HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
  err.write(question);
  wchar_t line[256];
  DWORD units = 0;
  if (!::ReadConsoleW(input, line, static_cast<DWORD>(std::size(line)), &units, /*control=*/nullptr) ||
      units == 0)
    return std::nullopt;
  std::wstring answer(line, units);
  while (!answer.empty() && (answer.back() == L'\r' || answer.back() == L'\n' || answer.back() == L' '))
    answer.pop_back();
  return toUtf8(answer);
}

std::optional<std::string> readStandardInput() {
  HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
  if (!KernelHandleTraits::valid(input)) return std::nullopt;
  std::string bytes;
  if (!readToEnd(input, bytes, kMostInputBytes)) return std::nullopt;
  return bytes;
}

}  // namespace korvel::ctl
