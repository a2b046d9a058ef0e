// Writes console lines with the standard output that its argument names, or plays a shell. A console belongs
// to a whole process, so tests start this program for each case.
//
//   console_child WAY
//   console_child shell|shell-with-leftover|shell-with-pipe PROGRAM FLAG
//   console_child shell-with-file PROGRAM FLAG FILE
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

/// Runs a program with that standard output; returns its exit code. Windows attaches no program of the GUI
/// subsystem to the console, but other platforms do, so it is detached.
int runFromShell(const wchar_t* program, const wchar_t* flag, HANDLE output) {
  ::SetHandleInformation(output, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  std::wstring commandLine = std::wstring(L"\"") + program + L"\" " + flag;
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = output;
  PROCESS_INFORMATION info{};
  if (!::CreateProcessW(program, commandLine.data(), nullptr, nullptr, /*inherit=*/TRUE, DETACHED_PROCESS,
                        nullptr, nullptr, &startup, &info))
    return 4;
  const UniqueHandle process(info.hProcess);
  const UniqueHandle thread(info.hThread);
  DWORD code = 0;
  ::WaitForSingleObject(process.get(), INFINITE);
  ::GetExitCodeProcess(process.get(), &code);
  return static_cast<int>(code);
}

/// With a handle in the place of the output to which nothing can be written.
int runWithLeftover(const wchar_t* program, const wchar_t* flag) {
  const UniqueHandle event(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
  return runFromShell(program, flag, event.get());
}

int runWithPipe(const wchar_t* program, const wchar_t* flag) {
  UniqueHandle read, write;
  if (!::CreatePipe(read.receive(), write.receive(), nullptr, 0)) return 5;
  return runFromShell(program, flag, write.get());
}

int runWithFile(const wchar_t* program, const wchar_t* flag, const wchar_t* file) {
  const UniqueHandle output(::CreateFileW(file, GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                          FILE_ATTRIBUTE_NORMAL, nullptr));
  return output ? runFromShell(program, flag, output.get()) : 6;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
  const std::wstring way = count > 1 ? arguments[1] : L"";
  if (way == L"console") return writeToTheConsole();
  if (way == L"no-output") return writeWithoutAnOutput();
  if (way == L"lost-and-found") return loseAndFindTheConsole();
  if (way == L"stay") ::Sleep(INFINITE);
  if (count < 4) return 1;
  if (way == L"shell") return runFromShell(arguments[2], arguments[3], nullptr);
  if (way == L"shell-with-leftover") return runWithLeftover(arguments[2], arguments[3]);
  if (way == L"shell-with-pipe") return runWithPipe(arguments[2], arguments[3]);
  if (way == L"shell-with-file" && count > 4) return runWithFile(arguments[2], arguments[3], arguments[4]);
  return 1;
}
