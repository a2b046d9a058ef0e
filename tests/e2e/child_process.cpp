#include "e2e/child_process.h"

#include <stdexcept>

#include "base/utf.h"
#include "support/restarts.h"

namespace korvel::test {
namespace {

constexpr UINT kKilledExitCode = 137;
constexpr DWORD kRestartPauseMs = 1'000;

UniqueHandle inheritableFile(const std::wstring& path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), /*descriptor=*/nullptr, /*inherit=*/TRUE};
  UniqueHandle file(::CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit,
                                  disposition, FILE_ATTRIBUTE_NORMAL, /*template=*/nullptr));
  if (!file) throw std::runtime_error("cannot open " + toUtf8(path));
  return file;
}

}  // namespace

void ChildProcess::start(const std::wstring& program, const std::wstring& arguments) {
  kill();
  folder_.emplace();
  const UniqueHandle input = inheritableFile(L"NUL", GENERIC_READ, OPEN_EXISTING);
  const UniqueHandle output = inheritableFile(folder_->at(L"out"), GENERIC_WRITE, CREATE_ALWAYS);
  const UniqueHandle errorOutput = inheritableFile(folder_->at(L"err"), GENERIC_WRITE, CREATE_ALWAYS);

  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = input.get();
  startup.hStdOutput = output.get();
  startup.hStdError = errorOutput.get();
  launch(program, arguments, startup, /*flags=*/0);
}

void ChildProcess::startInConsole(const std::wstring& program, const std::wstring& arguments) {
  startWithoutOutput(program, arguments, /*flags=*/0);
}

void ChildProcess::startDetached(const std::wstring& program, const std::wstring& arguments) {
  startWithoutOutput(program, arguments, DETACHED_PROCESS);
}

void ChildProcess::startWithoutOutput(const std::wstring& program, const std::wstring& arguments,
                                      DWORD flags) {
  kill();
  folder_.emplace();
  (void)folder_->write(L"out", "");
  (void)folder_->write(L"err", "");
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;  // none, so that it does not get those of this process
  launch(program, arguments, startup, flags);
}

void ChildProcess::launch(const std::wstring& program, const std::wstring& arguments, STARTUPINFOW startup,
                          DWORD flags) {
  std::wstring commandLine = L"\"" + program + L"\" " + arguments;
  PROCESS_INFORMATION info{};
  DWORD code = 0;
  const auto create = [&] {
    const BOOL ok = ::CreateProcessW(program.c_str(), commandLine.data(), /*processSecurity=*/nullptr,
                                     /*threadSecurity=*/nullptr, /*inheritHandles=*/TRUE, flags,
                                     /*environment=*/nullptr, /*directory=*/nullptr, &startup, &info);
    code = ::GetLastError();
    return ok != FALSE;
  };
  // The test platform now and then fails to start a process, above all right after the end of another.
  bool started = create();
  if (!started && mayRestart(toUtf8(program))) {
    ::Sleep(kRestartPauseMs);
    started = create();
  }
  if (!started) {
    throw std::runtime_error("cannot start " + toUtf8(program) + ", win32=" + std::to_string(code));
  }
  const UniqueHandle thread(info.hThread);
  process_.reset(info.hProcess);
}

bool ChildProcess::running() const { return process_ && !waitForExit(0); }

DWORD ChildProcess::id() const { return ::GetProcessId(process_.get()); }

std::optional<DWORD> ChildProcess::waitForExit(DWORD limitMs) const {
  DWORD code = 0;
  if (!process_ || ::WaitForSingleObject(process_.get(), limitMs) != WAIT_OBJECT_0) return std::nullopt;
  if (!::GetExitCodeProcess(process_.get(), &code)) return std::nullopt;
  return code;
}

void ChildProcess::kill() {
  if (!process_) return;
  (void)::TerminateProcess(process_.get(), kKilledExitCode);  // fails only when it has ended by itself
  ::WaitForSingleObject(process_.get(), INFINITE);
  process_.reset();
}

UniqueHandle ChildProcess::beginThread(LPTHREAD_START_ROUTINE function, DWORD argument) const {
  return UniqueHandle(::CreateRemoteThread(process_.get(), /*security=*/nullptr, /*stackBytes=*/0, function,
                                           reinterpret_cast<void*>(static_cast<uintptr_t>(argument)),
                                           /*flags=*/0, /*id=*/nullptr));
}

bool ChildProcess::runThread(LPTHREAD_START_ROUTINE function, DWORD argument) const {
  return static_cast<bool>(beginThread(function, argument));
}

std::optional<DWORD> ChildProcess::resultThere(LPTHREAD_START_ROUTINE function, DWORD argument) const {
  constexpr DWORD kLimitMs = 60'000;
  const UniqueHandle thread = beginThread(function, argument);
  DWORD result = 0;
  if (!thread || ::WaitForSingleObject(thread.get(), kLimitMs) != WAIT_OBJECT_0) return std::nullopt;
  if (!::GetExitCodeThread(thread.get(), &result)) return std::nullopt;
  return result;
}

std::string ChildProcess::output() const { return readFile(folder_->at(L"out")); }
std::string ChildProcess::errorOutput() const { return readFile(folder_->at(L"err")); }

Finished runToEnd(const std::wstring& program, const std::wstring& arguments, DWORD limitMs) {
  ChildProcess process;
  process.start(program, arguments);
  const std::optional<DWORD> exitCode = process.waitForExit(limitMs);
  if (!exitCode) throw std::runtime_error(toUtf8(program) + " " + toUtf8(arguments) + " does not end");
  return {*exitCode, process.output(), process.errorOutput()};
}

}  // namespace korvel::test
