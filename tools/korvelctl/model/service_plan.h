// How the service should be registered, and where a registration that was found differs. Pure and
// thread-safe.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::ctl {

/// The states of the Service Control Manager, with its numbers.
enum class ScmState : uint32_t {
  kNotInstalled = 0,
  kStopped = 1,
  kStartPending = 2,
  kStopPending = 3,
  kRunning = 4,
  kContinuePending = 5,
  kPausePending = 6,
  kPaused = 7,
};
/// "not_installed", "stopped", "start_pending" ...; "unknown" for other numbers.
const char* scmStateName(ScmState state);

enum class RecoveryAction : uint32_t { kNone = 0, kRestart = 1, kReboot = 2, kCommand = 3 };

struct RecoveryStep {
  RecoveryAction action = RecoveryAction::kNone;
  uint32_t delayMs = 0;
  bool operator==(const RecoveryStep&) const = default;
};

/// After a crash: a restart after a minute, twice; then nothing, so that a service that cannot run does not
/// come back all day. A day without a crash begins anew.
struct Recovery {
  uint32_t resetSeconds = 0;
  std::vector<RecoveryStep> steps;
  bool operator==(const Recovery&) const = default;
};

struct ServicePlan {
  std::wstring commandLine;  ///< the program in quotation marks
  std::wstring displayName;
  std::wstring description;
  Recovery recovery;
};
/// `executable` is absolute.
ServicePlan servicePlan(std::wstring_view executable);

/// What the Service Control Manager says. Texts are empty and numbers 0 where nothing was said.
struct ServiceFacts {
  ScmState state = ScmState::kNotInstalled;
  uint32_t processId = 0;
  uint32_t exitCode = 0;          ///< of the last run
  uint32_t specificExitCode = 0;  ///< with exit code 1066
  std::wstring commandLine;
  std::wstring displayName;
  std::wstring description;
  std::wstring account;
  uint32_t startType = 0;            ///< 2 automatic, 3 on demand, 4 disabled
  std::optional<Recovery> recovery;  ///< empty where it was not told
};

enum class ServiceFault {
  kOtherProgram,  ///< the command line names another file than expected
  kNotQuoted,     ///< a blank in the path, and no quotation marks: another program could be started
  kNotAutomatic,
  kOtherAccount,
  kNoRecovery,
};

/// `executable` is the expected program; empty when any will do. Nothing is compared for a service that is
/// not installed.
std::vector<ServiceFault> serviceFaults(const ServiceFacts& facts, std::wstring_view executable);

/// The program of a command line: what is in quotation marks at its beginning, else all of it up to ".exe".
std::wstring programOf(std::wstring_view commandLine);

}  // namespace korvel::ctl
