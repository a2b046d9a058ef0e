// A program that a test starts, watches and, by its own handle, ends. Not thread-safe.
#pragma once

#include <optional>
#include <string>

#include "base/unique_resource.h"
#include "support/temp_folder.h"

namespace korvel::test {

class ChildProcess {
 public:
  ChildProcess() = default;
  ~ChildProcess() { kill(); }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Starts `program` with the text `arguments` behind its name; its standard output and error output go to
  /// files. Throws when it cannot be started.
  void start(const std::wstring& program, const std::wstring& arguments);
  /// The same without an output and without an error output, from the console of this process if it has one:
  /// a program of the GUI subsystem has to join that console by itself.
  void startInConsole(const std::wstring& program, const std::wstring& arguments);
  /// The same without a console.
  void startDetached(const std::wstring& program, const std::wstring& arguments);

  bool running() const;
  DWORD id() const;
  /// The exit code, or nothing when the process still runs after `limitMs`.
  std::optional<DWORD> waitForExit(DWORD limitMs) const;
  /// Ends the process at once, as a power cut would, and waits until it is gone.
  void kill();

  /// Starts `function` with `argument` on a thread of that process. The function must lie at the same address
  /// there, as those of the system's libraries do. False when that is refused.
  bool runThread(LPTHREAD_START_ROUTINE function, DWORD argument) const;
  /// The same, and what the function returns there; nothing when it is refused or takes a minute.
  std::optional<DWORD> resultThere(LPTHREAD_START_ROUTINE function, DWORD argument) const;

  /// What it has written so far.
  std::string output() const;
  std::string errorOutput() const;

 private:
  UniqueHandle beginThread(LPTHREAD_START_ROUTINE function, DWORD argument) const;
  void startWithoutOutput(const std::wstring& program, const std::wstring& arguments, DWORD flags);
  void launch(const std::wstring& program, const std::wstring& arguments, STARTUPINFOW startup, DWORD flags);

  std::optional<TempFolder> folder_;
  UniqueHandle process_;
};

struct Finished {
  DWORD exitCode = 0;
  std::string output;
  std::string errorOutput;
};

/// Runs a program to its end. Throws when that takes longer than `limitMs`.
Finished runToEnd(const std::wstring& program, const std::wstring& arguments, DWORD limitMs = 60'000);

}  // namespace korvel::test
