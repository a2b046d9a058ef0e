#include "ipc/request_dispatcher.h"

#include <exception>
#include <iterator>
#include <new>
#include <string>
#include <utility>

#include "base/error.h"
#include "base/unique_resource.h"
#include "engine/scan_worker.h"
#include "fw/firewall_changes.h"
#include "fw/firewall_query.h"
#include "ipc/messages.h"
#include "ipc/pipe_io.h"
#include "ipc/pipe_server.h"
#include "service/runtime/engine_slot.h"
#include "service/runtime/log.h"
#include "service/runtime/stop_signal.h"

namespace korvel::ipc {
namespace {

using svc::ScanWorker;

/// One frame's content: what came in, or what goes out.
struct Message {
  uint32_t opcode = 0;
  std::string payload;
};

/// Runs one request. False with a text in `error`, which may stay empty; `reply` then does not matter.
using Handler = bool (*)(ScanWorker& engine, const Message& request, std::string* reply, std::string* error);

bool getStatus(ScanWorker& engine, const Message&, std::string* reply, std::string*) {
  *reply = encodeStatus(engine.getStatus());
  return true;
}

bool ping(ScanWorker&, const Message&, std::string* reply, std::string*) {
  *reply = encodeNumber(static_cast<uint32_t>(::GetTickCount64()));  // the low 32 bits: wraps after 49.7 days
  return true;
}

bool startScan(ScanWorker& engine, const Message& request, std::string*, std::string* error) {
  const auto scan = decodeStartScan(request.payload);
  if (!scan) return fail(error, "malformed StartScan payload");
  return engine.startScan(scan->scope, scan->targets, error);
}

bool getProgress(ScanWorker& engine, const Message&, std::string* reply, std::string*) {
  ProgressReply progress;
  progress.scanning = engine.isScanning();  // first: a reply that tells of the end also tells the outcome
  progress.progress = engine.getProgress();
  progress.lastSummary = engine.getLastSummary();
  progress.events = engine.takeEvents();
  size_t taken = 0;
  *reply = encodeProgress(progress, &taken);
  if (taken < progress.events.size()) {
    progress.events.erase(progress.events.begin(), progress.events.begin() + static_cast<ptrdiff_t>(taken));
    engine.returnEvents(std::move(progress.events));
  }
  return true;
}

bool cancelScan(ScanWorker& engine, const Message&, std::string*, std::string*) {
  (void)engine.cancelScan();  // succeeds with or without a scan
  return true;
}

bool getResults(ScanWorker& engine, const Message&, std::string* reply, std::string*) {
  *reply = encodeResults(engine.getResults());
  return true;
}

bool threatDecision(ScanWorker& engine, const Message& request, std::string*, std::string* error) {
  const auto decision = decodeThreatDecision(request.payload);
  if (!decision) return fail(error, "malformed ThreatDecision payload");
  if (decision->action == kActionQuarantine) return engine.quarantineThreat(decision->threat, error);
  if (decision->action == kActionDelete) return engine.deleteThreat(decision->threat, error);
  return true;  // any other decision is accepted and does nothing
}

bool listQuarantine(ScanWorker& engine, const Message&, std::string* reply, std::string*) {
  *reply = encodeQuarantineList(engine.listQuarantine());
  return true;
}

bool deleteQuarantined(ScanWorker& engine, const Message& request, std::string*, std::string* error) {
  const auto id = decodeQuarantineId(request.payload);
  if (!id) return fail(error, "malformed quarantine id");
  return engine.deleteQuarantined(*id, error);
}

bool restoreQuarantined(ScanWorker& engine, const Message& request, std::string*, std::string* error) {
  const auto id = decodeQuarantineId(request.payload);
  if (!id) return fail(error, "malformed quarantine id");
  return engine.restoreQuarantined(*id, error);
}

bool getConfig(ScanWorker& engine, const Message&, std::string* reply, std::string*) {
  *reply = encodeSettings(engine.getSettings());
  return true;
}

bool setConfig(ScanWorker& engine, const Message& request, std::string*, std::string* error) {
  // Decoded over the defaults on purpose: a field that does not travel falls back to its default.
  const auto settings = decodeSettings(request.payload, Settings());
  if (!settings) return fail(error, "malformed SetConfig payload");
  return engine.applySettings(*settings, error);
}

bool reloadSignatures(ScanWorker& engine, const Message&, std::string*, std::string* error) {
  return engine.reloadSignatures(error);
}

bool startLiveUpdate(ScanWorker& engine, const Message&, std::string* reply, std::string* error) {
  *reply = encodeNumber(1);
  return engine.startLiveUpdate(error);
}

bool startUpdateCheck(ScanWorker& engine, const Message&, std::string* reply, std::string* error) {
  *reply = encodeNumber(1);
  return engine.startUpdateCheck(error);
}

bool firewallStatus(ScanWorker&, const Message&, std::string* reply, std::string*) {
  *reply = fw::queryFirewallStatus();  // as it is: without a length, and its errors are lines of it
  return true;
}

/// A firewall operation refuses with a text that travels in an ordinary reply, not in an error frame.
using FirewallChange = bool (*)(const std::string& argument, std::string* text);

template <FirewallChange kChange>
bool firewallChange(ScanWorker&, const Message& request, std::string* reply, std::string* error) {
  // No payload at all stands for an empty argument.
  const auto argument = request.payload.empty() ? std::string() : decodeText(request.payload);
  if (!argument) return fail(error, "malformed firewall payload");
  FirewallChangeReply change;
  change.ok = kChange(*argument, &change.text);
  if (change.ok) change.text.clear();
  *reply = encodeFirewallChange(change);
  return true;
}

bool removeKorvelRules(const std::string&, std::string* text) { return fw::removeKorvelRules(text); }

bool stopService(ScanWorker&, const Message&, std::string*, std::string*) {
  StopSignal::process().requestStop();
  return true;
}

struct Operation {
  Opcode opcode;
  Handler run;
};
constexpr Operation kOperations[] = {
    {Opcode::kGetStatus, getStatus},
    {Opcode::kPing, ping},
    {Opcode::kStartScan, startScan},
    {Opcode::kGetProgress, getProgress},
    {Opcode::kCancelScan, cancelScan},
    {Opcode::kGetResults, getResults},
    {Opcode::kThreatDecision, threatDecision},
    {Opcode::kListQuarantine, listQuarantine},
    {Opcode::kDeleteQuarantined, deleteQuarantined},
    {Opcode::kRestoreQuarantined, restoreQuarantined},
    {Opcode::kGetConfig, getConfig},
    {Opcode::kSetConfig, setConfig},
    {Opcode::kReloadSignatures, reloadSignatures},
    {Opcode::kStartLiveUpdate, startLiveUpdate},
    {Opcode::kStartUpdateCheck, startUpdateCheck},
    {Opcode::kFirewallStatus, firewallStatus},
    {Opcode::kFirewallSetProfile, firewallChange<fw::setProfileEnabled>},
    {Opcode::kFirewallBlockInbound, firewallChange<fw::setBlockAllInbound>},
    {Opcode::kFirewallAddRule, firewallChange<fw::addApplicationRule>},
    {Opcode::kFirewallRemoveRules, firewallChange<removeKorvelRules>},
    {Opcode::kStopService, stopService},
};

/// The table is indexed by opcode: it must name every opcode once, in order.
constexpr bool operationsAreInOrder() {
  for (uint32_t i = 0; i < std::size(kOperations); ++i) {
    if (kOperations[i].opcode != static_cast<Opcode>(i + 1)) return false;
  }
  return std::size(kOperations) == kLastOpcode;
}
static_assert(operationsAreInOrder());

/// Runs the request's operation. The two failures that no operation knows of are found here.
bool perform(const Message& request, std::string* reply, std::string* error) {
  if (request.opcode == 0 || request.opcode > kLastOpcode) {
    return fail(error, "unsupported opcode " + std::to_string(request.opcode));
  }
  ScanWorker* engine = svc::engineInSlot();
  if (engine == nullptr) return fail(error, "engine is not running");
  try {
    return kOperations[request.opcode - 1].run(*engine, request, reply, error);
  } catch (const std::exception& exception) {
    return fail(error, exception.what());
  }
}

Message answer(const Message& request) {
  Message reply;
  std::string error;
  if (perform(request, &reply.payload, &error)) {
    reply.opcode = request.opcode;
    return reply;
  }
  reply.opcode = kErrorOpcode;
  reply.payload.clear();
  if (error.empty()) return reply;  // a refusal without a reason travels without a payload
  reply.payload = encodeText(error);
  Log::instance().write(kLogWarning, "request failed: " + error);
  return reply;
}

/// False at the end of the session, which is logged unless it is an ordinary one.
bool readRequest(HANDLE pipe, Message* request) {
  const StopSignal& stop = StopSignal::process();
  std::string error;
  if (readFrame(pipe, stop.event(), &request->opcode, &request->payload, &error)) return true;
  const bool brokenPipe = ::GetLastError() == ERROR_BROKEN_PIPE;
  if (error != "connection closed" && !brokenPipe && error != "stopping" && !stop.requested()) {
    serviceLog("request read failed: " + error);
  }
  return false;
}

/// The answer to a stop request must not be cut short by the very stop it confirms: it waits for a client
/// that does not read at most for the grace.
bool writeLastReply(HANDLE pipe, const Message& reply) {
  const UniqueHandle timeLimit(
      ::CreateWaitableTimerW(/*security=*/nullptr, /*manualReset=*/TRUE, /*name=*/nullptr));
  LARGE_INTEGER due{};
  due.QuadPart = -10'000LL * kLastReplyGraceMs;  // relative, in units of 100 ns
  if (!::SetWaitableTimer(timeLimit.get(), &due, /*period=*/0, nullptr, nullptr, /*resume=*/FALSE))
    return false;
  return writeFrame(pipe, timeLimit.get(), reply.opcode, reply.payload, /*error=*/nullptr);
}

bool isStopRequest(const Message& request) {
  return request.opcode == static_cast<uint32_t>(Opcode::kStopService);
}

bool writeReply(HANDLE pipe, const Message& request, const Message& reply) {
  if (isStopRequest(request)) return writeLastReply(pipe, reply);
  return writeFrame(pipe, StopSignal::process().event(), reply.opcode, reply.payload, /*error=*/nullptr);
}

}  // namespace

bool handleClient(HANDLE pipe) {
  const StopSignal& stop = StopSignal::process();
  try {
    while (!stop.requested()) {
      Message request;
      if (!readRequest(pipe, &request)) break;
      if (!writeReply(pipe, request, answer(request))) return !stop.requested();
      if (isStopRequest(request)) break;
    }
  } catch (const std::bad_alloc&) {
    serviceLog("request read failed: not enough memory");
  }
  return true;
}

}  // namespace korvel::ipc
