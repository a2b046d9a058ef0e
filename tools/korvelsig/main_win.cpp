// korvelsig on Windows.
#include <algorithm>
#include <ctime>

#include "base/files.h"
#include "base/utf.h"
#include "base/win.h"
#include "korvelsig/commands.h"

namespace {

/// Older consoles refuse a write of more than 64 KiB.
constexpr size_t kConsolePieceUnits = 8192;

void writeConsole(HANDLE console, std::wstring_view text) {
  while (!text.empty()) {
    const auto units = static_cast<DWORD>(std::min(text.size(), kConsolePieceUnits));
    DWORD written = 0;
    if (!::WriteConsoleW(console, text.data(), units, &written, /*reserved=*/nullptr) || written == 0) return;
    text.remove_prefix(written);
  }
}

/// UTF-16 on a console, UTF-8 into a file or a pipe.
std::function<void(std::string_view)> writerTo(DWORD standardHandle) {
  const HANDLE handle = ::GetStdHandle(standardHandle);
  DWORD mode = 0;
  if (!korvel::KernelHandleTraits::valid(handle)) return [](std::string_view) {};
  if (::GetConsoleMode(handle, &mode)) {
    return [handle](std::string_view text) { writeConsole(handle, korvel::toWide(text)); };
  }
  return [handle](std::string_view text) { (void)korvel::writeAll(handle, text); };  // the reader may be gone
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  const std::unique_ptr<korvel::sig::FileAccess> files = korvel::sig::systemFiles();
  const korvel::sig::Surroundings here{*files, writerTo(STD_OUTPUT_HANDLE), writerTo(STD_ERROR_HANDLE),
                                       static_cast<uint64_t>(std::time(nullptr))};
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) arguments.push_back(korvel::toUtf8(argv[i]));
  return korvel::sig::runKorvelsig(arguments, here);
}
