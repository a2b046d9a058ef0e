#include "server/request_dispatcher.h"

#include <exception>
#include <iterator>
#include <new>
#include <string>
#include <utility>

#include "base/error.h"
#include "base/unique_resource.h"
#include "fw/firewall_changes.h"
#include "fw/firewall_query.h"
#include "protocol/messages.h"
#include "runtime/log.h"
#include "runtime/stop_signal.h"
#include "server/pipe_end.h"

namespace korvel::ipc {
namespace {

/// Runs one request. False with a text in `error`, which may stay empty; `reply` is then ignored.
using Handler = bool (*)(EngineOperations& engine, const Frame& request, std::string* reply,
                         std::string* error);

bool getStatus(EngineOperations& engine, const Frame&, std::string* reply, std::string*) {
  *reply = encodeStatus(engine.getStatus());
  return true;
}

bool ping(EngineOperations&, const Frame&, std::string* reply, std::string*) {
  *reply = encodeTickCount(::GetTickCount64());
  return true;
}

bool startScan(EngineOperations& engine, const Frame& request, std::string*, std::string* error) {
  const auto scan = decodeStartScan(request.payload);
  if (!scan) return fail(error, "malformed StartScan payload");
  return engine.startScan(scan->scope, scan->targets, error);
}

bool getProgress(EngineOperations& engine, const Frame&, std::string* reply, std::string*) {
  engine.reportScan([reply](const ScanReport& report) {
    size_t eventsTaken = 0;
    *reply = encodeProgress(report, &eventsTaken);
    return eventsTaken;
  });
  return true;
}

bool cancelScan(EngineOperations& engine, const Frame&, std::string*, std::string*) {
  (void)engine.cancelScan();  // succeeds with or without a scan
  return true;
}

bool getResults(EngineOperations& engine, const Frame&, std::string* reply, std::string*) {
  *reply = encodeResults(engine.getResults());
  return true;
}

bool threatDecision(EngineOperations& engine, const Frame& request, std::string*, std::string* error) {
  const auto decision = decodeThreatDecision(request.payload);
  if (!decision) return fail(error, "malformed ThreatDecision payload");
  if (decision->action == kActionQuarantine) return engine.quarantineThreat(decision->threat, error);
  if (decision->action == kActionDelete) return engine.deleteThreat(decision->threat, error);
  return true;  // any other decision is accepted and does nothing
}

bool listQuarantine(EngineOperations& engine, const Frame&, std::string* reply, std::string*) {
  *reply = encodeQuarantineList(engine.listQuarantine());
  return true;
}

bool deleteQuarantined(EngineOperations& engine, const Frame& request, std::string*, std::string* error) {
  const auto id = decodeQuarantineId(request.payload);
  if (!id) return fail(error, "malformed quarantine id");
  return engine.deleteQuarantined(*id, error);
}

bool restoreQuarantined(EngineOperations& engine, const Frame& request, std::string*, std::string* error) {
  const auto id = decodeQuarantineId(request.payload);
  if (!id) return fail(error, "malformed quarantine id");
  return engine.restoreQuarantined(*id, error);
}

bool getConfig(EngineOperations& engine, const Frame&, std::string* reply, std::string*) {
  *reply = encodeSettings(engine.getSettings());
  return true;
}

bool setConfig(EngineOperations& engine, const Frame& request, std::string*, std::string* error) {
  // A field that does not travel is reset to its default, on purpose.
  const auto settings = decodeSetConfig(request.payload);
  if (!settings) return fail(error, "malformed SetConfig payload");
  return engine.applySettings(*settings, error);
}

bool reloadSignatures(EngineOperations& engine, const Frame&, std::string*, std::string* error) {
  return engine.reloadSignatures(error);
}

bool startLiveUpdate(EngineOperations& engine, const Frame&, std::string* reply, std::string* error) {
  *reply = encodeNumber(1);
  return engine.startLiveUpdate(error);
}

bool startUpdateCheck(EngineOperations& engine, const Frame&, std::string* reply, std::string* error) {
  *reply = encodeNumber(1);
  return engine.startUpdateCheck(error);
}

bool firewallStatus(EngineOperations&, const Frame&, std::string* reply, std::string*) {
  *reply = fw::queryFirewallStatus(
      StopSignal::process().token());  // raw text without a length prefix; errors are lines of it
  return true;
}

/// A firewall operation. Its failure text travels in an ordinary reply, not in an error frame.
using FirewallChange = bool (*)(const std::string& argument, std::string* text, const StopToken& stop);

template <FirewallChange kChange>
bool firewallChange(EngineOperations&, const Frame& request, std::string* reply, std::string* error) {
  // An empty payload means an empty argument.
  const auto argument = request.payload.empty() ? std::string() : decodeText(request.payload);
  if (!argument) return fail(error, "malformed firewall payload");
  FirewallChangeReply change;
  change.ok = kChange(*argument, &change.text, StopSignal::process().token());
  if (change.ok) change.text.clear();
  *reply = encodeFirewallChange(change);
  return true;
}

bool setProfileEnabled(const std::string& argument, std::string* text, const StopToken&) {
  return fw::setProfileEnabled(argument, text);
}

bool removeKorvelRules(const std::string&, std::string* text, const StopToken& stop) {
  return fw::removeKorvelRules(text, stop);
}

bool stopService(EngineOperations&, const Frame&, std::string*, std::string*) {
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
    {Opcode::kFirewallSetProfile, firewallChange<setProfileEnabled>},
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

/// Runs the request's operation. Unknown opcodes and exceptions become failures here.
bool perform(EngineOperations& engine, const Frame& request, std::string* reply, std::string* error) {
  if (request.opcode == 0 || request.opcode > kLastOpcode) {
    return fail(error, "unsupported opcode " + std::to_string(request.opcode));
  }
  try {
    return kOperations[request.opcode - 1].run(engine, request, reply, error);
  } catch (const std::exception& exception) {
    return fail(error, exception.what());
  }
}

Frame answer(EngineOperations& engine, const Frame& request) {
  Frame reply;
  std::string error;
  if (perform(engine, request, &reply.payload, &error)) {
    reply.opcode = request.opcode;
    return reply;
  }
  reply.opcode = kErrorOpcode;
  reply.payload.clear();
  if (error.empty()) return reply;  // without an error text there is no payload
  reply.payload = encodeText(error);
  Log::instance().write(kLogWarning, "request failed: " + error);
  return reply;
}

/// False when the session ends; the reason is logged unless it is a disconnection or a stop.
bool readRequest(const PipeEnd& client, Frame* request) {
  std::string error;
  const Transfer result = client.readFrame(request, &error);
  if (result == Transfer::kFailed && !StopSignal::process().requested()) {
    serviceLog("request read failed: " + error);
  }
  return result == Transfer::kDone;
}

/// Writes the reply to a stop request. The stop itself must not cut it short, so a timer of kLastReplyGraceMs
/// takes the place of the stop event.
Transfer writeLastReply(HANDLE pipe, const Frame& reply) {
  const UniqueHandle timeLimit(
      ::CreateWaitableTimerW(/*security=*/nullptr, /*manualReset=*/TRUE, /*name=*/nullptr));
  LARGE_INTEGER due{};
  due.QuadPart = -10'000LL * kLastReplyGraceMs;  // relative, in units of 100 ns
  if (!::SetWaitableTimer(timeLimit.get(), &due, /*period=*/0, nullptr, nullptr, /*resume=*/FALSE))
    return Transfer::kFailed;
  return PipeEnd(pipe, timeLimit.get()).writeFrame(reply, /*error=*/nullptr);
}

}  // namespace

bool handleClient(HANDLE pipe, EngineOperations& engine) {
  const StopSignal& stop = StopSignal::process();
  const PipeEnd client(pipe, stop.event());
  try {
    while (!stop.requested()) {
      Frame request;
      if (!readRequest(client, &request)) break;
      const bool last = request.opcode == static_cast<uint32_t>(Opcode::kStopService);
      const Frame reply = answer(engine, request);
      const Transfer written =
          last ? writeLastReply(pipe, reply) : client.writeFrame(reply, /*error=*/nullptr);
      if (written != Transfer::kDone) return !stop.requested();
      if (last) break;
    }
  } catch (const std::bad_alloc&) {
    serviceLog("request read failed: not enough memory");
  }
  return true;
}

}  // namespace korvel::ipc
