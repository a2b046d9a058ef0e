#include "korvelctl/commands.h"

#include <nlohmann/json.hpp>

#include "korvelctl/connection.h"
#include "korvelctl/exit_codes.h"
#include "korvelctl/firewall_command.h"
#include "korvelctl/json_output.h"
#include "korvelctl/printable.h"
#include "korvelctl/render.h"
#include "korvelctl/scan_command.h"
#include "korvelctl/settings_list.h"
#include "korvelctl/update_command.h"

namespace korvel::ctl {
namespace {

using Json = nlohmann::ordered_json;
using ipc::Opcode;

int status(const Command& command, const Output& out) {
  const EngineStatus status = understood(ipc::decodeStatus(ask(Opcode::kGetStatus)));
  out.write(command.json ? dumpJson(statusJson(status)) : renderStatus(status));
  return kExitNothingFound;
}

int ping(const Command& command, const Output& out) {
  const uint32_t ticks = understood(ipc::decodeNumber(ask(Opcode::kPing)));
  out.write(command.json ? dumpJson(Json{{"tickCount", ticks}})
                         : "the service answers, tick count " + std::to_string(ticks) + "\n");
  return kExitNothingFound;
}

std::vector<ThreatRecord> currentThreats() {
  return understood(ipc::decodeResults(ask(Opcode::kGetResults)));
}

int listThreats(const Command& command, const Output& out) {
  const auto threats = currentThreats();
  out.write(command.json ? dumpJson(threatsJson(threats)) : renderThreats(threats, leastListed(command)));
  return threats.empty() ? kExitNothingFound : kExitThreatsFound;
}

/// Runs `act` for every item; reports a refusal and continues with the next item.
template <typename Items, typename Act>
int forEach(const Items& items, const Output& err, Act act) {
  int exitCode = kExitNothingFound;
  for (const auto& item : items) {
    try {
      act(item);
    } catch (const Failure& failure) {
      if (failure.exitCode() != kExitRefused) throw;
      err.write("korvelctl: " + printable(std::string_view(failure.what())) + "\n");
      exitCode = kExitRefused;
    }
  }
  return exitCode;
}

int decideThreats(const Command& command, const Output& out, const Output& err) {
  const bool deletes = command.action == Action::kDeleteThreats;
  const auto threats = currentThreats();
  return forEach(command.numbers, err, [&](uint64_t number) {
    if (number > threats.size()) {
      throw Failure(kExitRefused, "there is no threat number " + std::to_string(number) + ", the list has " +
                                      std::to_string(threats.size()));
    }
    const ThreatRecord& threat = threats[static_cast<size_t>(number - 1)];
    ask(Opcode::kThreatDecision,
        ipc::encodeThreatDecision({deletes ? ipc::kActionDelete : ipc::kActionQuarantine, threat}));
    out.write((deletes ? "deleted: " : "quarantined: ") + printable(threat.path) + "\n");
  });
}

int listQuarantine(const Command& command, const Output& out) {
  const auto records = understood(ipc::decodeQuarantineList(ask(Opcode::kListQuarantine)));
  out.write(command.json ? dumpJson(quarantineJson(records)) : renderQuarantine(records));
  return kExitNothingFound;
}

int decideQuarantined(const Command& command, const Output& out, const Output& err) {
  const bool deletes = command.action == Action::kDeleteQuarantined;
  return forEach(command.numbers, err, [&](uint64_t id) {
    ask(deletes ? Opcode::kDeleteQuarantined : Opcode::kRestoreQuarantined, ipc::encodeQuarantineId(id));
    out.write((deletes ? "deleted: " : "restored: ") + std::to_string(id) + "\n");
  });
}

int config(const Command& command, const Output& out) {
  const SettingsFields settings = understood(ipc::decodeSettings(ask(Opcode::kGetConfig)));
  if (command.action == Action::kGetConfig) {
    // The command line accepts only keys that travel.
    out.write(command.json ? dumpJson(settingsJson(settings)[command.key])
                           : printable(settingText(settings, command.key).value_or("")) + "\n");
  } else {
    out.write(command.json ? dumpJson(settingsJson(settings)) : renderSettings(settings));
  }
  return kExitNothingFound;
}

int order(Opcode opcode, const char* done, const Command& command, const Output& out) {
  ask(opcode);
  out.write(command.json ? dumpJson(Json{{"done", done}}) : std::string(done) + "\n");
  return kExitNothingFound;
}

}  // namespace

int runCommand(const Command& command, const Output& out, const Output& err) {
  switch (command.action) {
    case Action::kStatus:
      return status(command, out);
    case Action::kPing:
      return ping(command, out);
    case Action::kScan:
      return runScan(command, out, err);
    case Action::kListThreats:
      return listThreats(command, out);
    case Action::kQuarantineThreats:
    case Action::kDeleteThreats:
      return decideThreats(command, out, err);
    case Action::kListQuarantine:
      return listQuarantine(command, out);
    case Action::kRestoreQuarantined:
    case Action::kDeleteQuarantined:
      return decideQuarantined(command, out, err);
    case Action::kListConfig:
    case Action::kGetConfig:
      return config(command, out);
    case Action::kFirewallStatus:
    case Action::kFirewallProfile:
    case Action::kFirewallInbound:
    case Action::kFirewallAddRule:
    case Action::kFirewallReset:
      return runFirewall(command, out, err);
    case Action::kUpdateSignatures:
    case Action::kUpdateProgram:
      return runUpdate(command, out);
    case Action::kShieldStatus:
      return showShield(command, out);
    case Action::kReload:
      return order(Opcode::kReloadSignatures, "signatures reloaded", command, out);
    case Action::kCancel:
      return order(Opcode::kCancelScan, "cancel requested", command, out);
    case Action::kStop:
      return order(Opcode::kStopService, "stop requested", command, out);
  }
  return kExitUsage;
}

}  // namespace korvel::ctl
