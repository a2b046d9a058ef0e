#include "korvelctl/update_command.h"

#include <nlohmann/json.hpp>

#include "base/clock.h"
#include "korvelctl/connection.h"
#include "korvelctl/exit_codes.h"
#include "korvelctl/json_output.h"
#include "korvelctl/render.h"
#include "korvelctl/update_report.h"

namespace korvel::ctl {
namespace {

using ipc::Opcode;

constexpr DWORD kPollMs = 200;

EngineStatus currentStatus() { return understood(ipc::decodeStatus(ask(Opcode::kGetStatus))); }

SettingsFields currentSettings() { return understood(ipc::decodeSettings(ask(Opcode::kGetConfig))); }

/// A successful update shows only as a new time of the last update, in whole seconds. An update that starts
/// and ends in the same second as the last one would not change it, so this waits for the next second.
void waitForNextSecond(uint64_t lastUpdate) {
  while (unixSecondsNow() == lastUpdate) ::Sleep(kPollMs);
}

/// Waits without a time limit: the service's own time-outs end the job, and Ctrl+C ends this client.
EngineStatus statusAfter(bool EngineStatus::*running) {
  for (;;) {
    EngineStatus status = currentStatus();
    if (!(status.*running)) return status;
    ::Sleep(kPollMs);
  }
}

int report(const UpdateReport& report, const Command& command, const Output& out) {
  if (command.json) out.write(dumpJson(report.json));
  if (!report.failure.empty()) throw Failure(kExitRefused, report.failure);
  if (!command.json) out.write(report.text);
  return kExitNothingFound;
}

int updateSignatures(const Command& command, const Output& out) {
  const uint64_t before = currentSettings().lastLiveUpdateUtc;
  if (command.wait) waitForNextSecond(before);
  ask(Opcode::kStartLiveUpdate);
  if (!command.wait) return report(startedReport("live update started"), command, out);
  const EngineStatus status = statusAfter(&EngineStatus::liveUpdateRunning);
  return report(signaturesReport(status, before, currentSettings().lastLiveUpdateUtc), command, out);
}

int updateProgram(const Command& command, const Output& out) {
  ask(Opcode::kStartUpdateCheck);
  if (!command.wait) return report(startedReport("update check started"), command, out);
  return report(programReport(statusAfter(&EngineStatus::updateCheckRunning)), command, out);
}

}  // namespace

int runUpdate(const Command& command, const Output& out) {
  return command.action == Action::kUpdateSignatures ? updateSignatures(command, out)
                                                     : updateProgram(command, out);
}

int showShield(const Command& command, const Output& out) {
  const SettingsFields settings = currentSettings();
  const EngineStatus status = currentStatus();
  out.write(command.json ? dumpJson(shieldJson(settings, status)) : renderShield(settings, status));
  return kExitNothingFound;
}

}  // namespace korvel::ctl
