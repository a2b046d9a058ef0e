// Writes console lines with the standard output that its argument names. A console belongs to a whole
// process, so console_line_test.cpp starts this program for each case.
#include <cstdlib>
#include <string>

#include "base/unique_resource.h"
#include "runtime/console_line.h"

namespace {

using korvel::UniqueHandle;
using korvel::writeConsoleLine;

/// Another process in this console, for as long as the object lives.
class Neighbour {
 public:
  Neighbour() {
    wchar_t program[MAX_PATH + 1] = {};
    ::GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::wstring commandLine = L"console_child stay";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    if (!::CreateProcessW(program, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                          &info_))
      std::exit(2);
  }
  ~Neighbour() {
    ::TerminateProcess(info_.hProcess, 0);
    ::CloseHandle(info_.hThread);
    ::CloseHandle(info_.hProcess);
  }
  Neighbour(const Neighbour&) = delete;
  Neighbour& operator=(const Neighbour&) = delete;
  DWORD id() const { return info_.dwProcessId; }

 private:
  PROCESS_INFORMATION info_{};
};

int writeToTheConsole() {
  const UniqueHandle console(::CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE,
                                           FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                           nullptr));
  ::SetStdHandle(STD_OUTPUT_HANDLE, console.get());
  writeConsoleLine(L"служба");
  writeConsoleLine(L"x");
  return 0;
}

int writeWithoutAnOutput() {
  ::SetStdHandle(STD_OUTPUT_HANDLE, nullptr);
  writeConsoleLine(L"служба");
  ::SetStdHandle(STD_OUTPUT_HANDLE, INVALID_HANDLE_VALUE);
  writeConsoleLine(L"x");
  return 0;
}

int loseAndFindTheConsole() {
  const Neighbour neighbour;
  ::FreeConsole();
  ::SetStdHandle(STD_OUTPUT_HANDLE, nullptr);
  writeConsoleLine(L"lost");
  for (int i = 0; !::AttachConsole(neighbour.id()); ++i) {
    if (i == 500) return 3;
    ::Sleep(10);  // the neighbour is still starting
  }
  ::SetStdHandle(STD_OUTPUT_HANDLE, nullptr);
  writeConsoleLine(L"found");
  return 0;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
  const std::wstring way = count > 1 ? arguments[1] : L"";
  if (way == L"console") return writeToTheConsole();
  if (way == L"no-output") return writeWithoutAnOutput();
  if (way == L"lost-and-found") return loseAndFindTheConsole();
  if (way == L"stay") ::Sleep(INFINITE);
  return 1;
}
