#include "korvelctl/scan_command.h"

#include <atomic>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "base/long_path.h"
#include "base/utf.h"
#include "korvelctl/connection.h"
#include "korvelctl/exit_codes.h"
#include "korvelctl/json_output.h"
#include "korvelctl/printable.h"
#include "korvelctl/progress_line.h"
#include "korvelctl/render.h"
#include "korvelctl/whole_path.h"

namespace korvel::ctl {
namespace {

constexpr DWORD kPollMs = 200;

std::atomic<bool> interrupted{false};

BOOL WINAPI onControl(DWORD type) {
  if (type != CTRL_C_EVENT && type != CTRL_BREAK_EVENT) return FALSE;
  // A second Ctrl+C ends the client at once; the scan then goes on without it.
  return interrupted.exchange(true) ? FALSE : TRUE;
}

/// Refuses files and missing folders, for which the service would scan nothing without an error.
std::wstring wholeFolder(const std::string& given) {
  std::wstring whole = wholePath(given);
  const DWORD attributes = ::GetFileAttributesW(forFileApi(whole).c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    throw Failure(kExitRefused, "cannot scan " + printable(whole) + ": it does not exist or cannot be read");
  }
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    throw Failure(kExitRefused,
                  "cannot scan " + printable(whole) + ": it is a file, only folders can be scanned");
  }
  return whole;
}

ipc::StartScanRequest requestFor(const Command& command) {
  ipc::StartScanRequest request;
  request.scope = command.scope;
  for (const std::string& folder : command.folders) request.targets.push_back(wholeFolder(folder));
  return request;
}

/// The service delivers each event once, so the events that this client receives must be shown here.
std::string renderEvents(const std::vector<ThreatEvent>& events) {
  std::string text;
  for (const ThreatEvent& event : events) {
    text += "detected meanwhile: " + printable(event.path) + ": " + printable(event.name) + " (" +
            severityName(event.severity) + ")\n";
  }
  return text;
}

ScanReport waitForEnd(ProgressLine& line) {
  bool cancelSent = false;
  for (;;) {
    ScanReport reply = understood(ipc::decodeProgress(ask(ipc::Opcode::kGetProgress)));
    if (!reply.events.empty()) line.interrupt(renderEvents(reply.events));
    if (!reply.scanning) return reply;
    line.show(reply.progress);
    if (interrupted && !cancelSent) {
      ask(ipc::Opcode::kCancelScan);
      cancelSent = true;
    }
    ::Sleep(kPollMs);
  }
}

}  // namespace

int runScan(const Command& command, const Output& out, const Output& err) {
  const ipc::StartScanRequest request = requestFor(command);
  ::SetConsoleCtrlHandler(onControl, TRUE);
  ask(ipc::Opcode::kStartScan, ipc::encodeStartScan(request));

  ProgressLine line(err, command.progress);
  const ScanReport end = waitForEnd(line);
  line.clear();
  const auto threats = understood(ipc::decodeResults(ask(ipc::Opcode::kGetResults)));

  if (command.json) {
    out.write(dumpJson(scanJson(end.progress.phase, end.lastSummary, threats)));
  } else if (end.progress.phase == scan_phase::kIdle) {
    out.write("there was nothing to scan\n");
  } else if (end.progress.phase != scan_phase::kFailed) {
    out.write(renderThreats(threats, leastListed(command)) + renderSummary(end.lastSummary, threats.size()));
  }
  if (end.progress.phase == scan_phase::kFailed) {
    throw Failure(kExitRefused, "the service could not scan: no signature database is loaded");
  }
  if (!threats.empty()) return kExitThreatsFound;
  if (interrupted) throw Failure(kExitRefused, "the scan was cancelled");
  return kExitNothingFound;
}

}  // namespace korvel::ctl
