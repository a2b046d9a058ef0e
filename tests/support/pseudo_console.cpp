#include "support/pseudo_console.h"

#include <stdexcept>
#include <thread>
#include <vector>

#include "base/unique_resource.h"
#include "base/utf.h"

namespace korvel::test {
namespace {

constexpr COORD kSize{80, 25};

[[noreturn]] void fail(const char* step) {
  throw std::runtime_error(std::string(step) + ", win32=" + std::to_string(::GetLastError()));
}

struct PseudoConsoleTraits {
  using Value = HPCON;
  static Value empty() { return nullptr; }
  static bool valid(HPCON console) { return console != nullptr; }
  static void close(HPCON console) { ::ClosePseudoConsole(console); }
};
using UniquePseudoConsole = UniqueResource<PseudoConsoleTraits>;

/// Everything up to the end of the pipe.
std::string drain(HANDLE pipe) {
  std::string text;
  char piece[4096];
  for (DWORD got = 0; ::ReadFile(pipe, piece, sizeof piece, &got, /*overlapped=*/nullptr);) {
    text.append(piece, got);
  }
  return text;
}

/// `text` without its control sequences: ESC, "[", parameters, one letter.
std::string withoutControlSequences(const std::string& text) {
  std::string result;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text.compare(i, 2, "\x1b[") != 0) {
      result += text[i];
      continue;
    }
    i = text.find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz", i);
    if (i == std::string::npos) break;
  }
  return result;
}

/// Starts the program with the console as its own.
UniqueHandle start(const std::wstring& program, const std::wstring& arguments, HPCON console) {
  SIZE_T bytes = 0;
  (void)::InitializeProcThreadAttributeList(nullptr, 1, 0, &bytes);  // only asks for the size
  std::vector<char> memory(bytes);
  const auto attributes = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory.data());
  if (!::InitializeProcThreadAttributeList(attributes, 1, 0, &bytes) ||
      !::UpdateProcThreadAttribute(attributes, 0, PROC_THREAD_ATTRIBUTE_PSEUDOCONSOLE, console,
                                   sizeof console, nullptr, nullptr)) {
    fail("UpdateProcThreadAttribute");
  }
  STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof startup;
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;  // none, so that it does not get those of this process
  startup.lpAttributeList = attributes;
  std::wstring commandLine = L"\"" + program + L"\" " + arguments;
  PROCESS_INFORMATION info{};
  const BOOL started = ::CreateProcessW(
      program.c_str(), commandLine.data(), /*processSecurity=*/nullptr, /*threadSecurity=*/nullptr,
      /*inheritHandles=*/FALSE, EXTENDED_STARTUPINFO_PRESENT, /*environment=*/nullptr, /*directory=*/nullptr,
      &startup.StartupInfo, &info);
  ::DeleteProcThreadAttributeList(attributes);
  if (!started) fail("CreateProcess");
  const UniqueHandle thread(info.hThread);
  return UniqueHandle(info.hProcess);
}

}  // namespace

ConsoleRun runInConsole(const std::wstring& program, const std::wstring& arguments, DWORD limitMs) {
  UniqueHandle keys, keyboard, screen, display;  // the console reads the keys and writes the display
  if (!::CreatePipe(keys.receive(), keyboard.receive(), nullptr, 0) ||
      !::CreatePipe(screen.receive(), display.receive(), nullptr, 0)) {
    fail("CreatePipe");
  }
  UniquePseudoConsole console;
  if (FAILED(::CreatePseudoConsole(kSize, keys.get(), display.get(), /*flags=*/0, console.receive()))) {
    fail("CreatePseudoConsole");
  }
  display.reset();  // the console has its own; the pipe ends with it

  ConsoleRun run;
  const UniqueHandle process = start(program, arguments, console.get());
  std::thread reader([&] { run.screen = withoutControlSequences(drain(screen.get())); });
  const bool ended = ::WaitForSingleObject(process.get(), limitMs) == WAIT_OBJECT_0;
  if (!ended) ::TerminateProcess(process.get(), 1);
  console.reset();
  reader.join();
  if (!ended) throw std::runtime_error(toUtf8(program) + " " + toUtf8(arguments) + " does not end");
  ::GetExitCodeProcess(process.get(), &run.exitCode);
  return run;
}

}  // namespace korvel::test
