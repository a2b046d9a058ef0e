#include "korvelmock/script.h"

#include <algorithm>
#include <initializer_list>
#include <stdexcept>
#include <utility>

#include "base/version.h"
#include "protocol/messages.h"
#include "protokit/byte_pieces.h"
#include "protokit/message_json.h"

namespace korvel::mock {
namespace {

using kit::Json;
using kit::Side;

[[noreturn]] void fail(const std::string& where, const std::string& what) {
  throw std::invalid_argument(where + ": " + what);
}

/// An object of the script, whose members are read by name. What is not read in the end is unknown.
class Members {
 public:
  Members(const Json& json, std::string where) : json_(json), where_(std::move(where)) {
    if (!json.is_object()) fail(where_, "must be an object");
  }

  const Json* find(const std::string& name) {
    known_.push_back(name);
    const auto found = json_.find(name);
    return found == json_.end() ? nullptr : &*found;
  }
  std::string placeOf(const std::string& name) const { return where_ + "." + name; }

  void read(const std::string& name, bool& value) {
    const Json* json = find(name);
    if (json == nullptr) return;
    if (!json->is_boolean()) fail(placeOf(name), "must be true or false");
    value = json->get<bool>();
  }
  void read(const std::string& name, std::string& value) {
    const Json* json = find(name);
    if (json == nullptr) return;
    if (!json->is_string()) fail(placeOf(name), "must be a text");
    value = json->get<std::string>();
  }
  template <typename Number>
  void readNumber(const std::string& name, Number& value, uint64_t least = 0) {
    const Json* json = find(name);
    if (json == nullptr) return;
    constexpr uint64_t kMost = std::is_same_v<Number, uint32_t> ? UINT32_MAX : UINT64_MAX;
    const bool whole = json->is_number_unsigned() || (json->is_number_integer() && json->get<int64_t>() >= 0);
    if (!whole || json->get<uint64_t>() < least || json->get<uint64_t>() > kMost)
      fail(placeOf(name),
           "must be a whole number from " + std::to_string(least) + " to " + std::to_string(kMost));
    value = static_cast<Number>(json->get<uint64_t>());
  }
  void read(const std::string& name, uint32_t& value) { readNumber(name, value); }
  void read(const std::string& name, uint64_t& value) { readNumber(name, value); }
  template <typename Number>
  void read(const std::string& name, std::optional<Number>& value) {
    if (!json_.contains(name)) return (void)find(name);
    Number number{};
    read(name, number);
    value = number;
  }

  void finish() const {
    for (const auto& [name, value] : json_.items()) {
      if (std::find(known_.begin(), known_.end(), name) == known_.end()) fail(placeOf(name), "is unknown");
    }
  }

 private:
  const Json& json_;
  std::string where_;
  std::vector<std::string> known_;
};

/// `value` as the value of a reply, for the place of the script that it stands in.
std::string payloadAt(const std::string& where, uint32_t opcode, const Json& value) {
  try {
    return kit::messagePayload(Side::kReply, opcode, value);
  } catch (const std::exception& problem) {
    fail(where, problem.what());
  }
}

std::string bytesAt(const std::string& where, const Json& pieces) {
  try {
    return kit::bytesOfPieces(pieces);
  } catch (const std::exception& problem) {
    fail(where, problem.what());
  }
}

/// The records of a reply: member `name` of `members` as field `field` of the reply to `opcode`. What kit
/// encodes it decodes, so the value is always there.
template <typename Decode>
auto recordsAt(Members& members, const std::string& name, const char* field, ipc::Opcode opcode,
               const Decode& decode) {
  Json value = Json::object();
  if (const Json* json = members.find(name)) {
    if (field == nullptr) {
      value = *json;
    } else {
      value[field] = *json;
    }
  }
  return decode(payloadAt(members.placeOf(name), static_cast<uint32_t>(opcode), value)).value();
}

SettingsFields usualSettings() {
  SettingsFields settings;
  settings.signatureDb = L"C:\\Program Files\\Korvel\\data\\signatures.seed.txt";
  settings.quarantineDir = L"C:\\ProgramData\\KORVEL Antivirus\\Quarantine";
  return settings;
}

/// A status whose missing members are those of a machine after its installation.
EngineStatus statusOf(Members& machine) {
  Json value = {
      {"serviceVersion", kServiceVersion}, {"signatureCount", 202}, {"signatureVersion", "seed-20261121"}};
  if (const Json* json = machine.find("status")) {
    if (!json->is_object()) fail(machine.placeOf("status"), "must be an object");
    value.update(*json);
  }
  const auto opcode = static_cast<uint32_t>(ipc::Opcode::kGetStatus);
  return ipc::decodeStatus(payloadAt(machine.placeOf("status"), opcode, value)).value();
}

SettingsFields settingsOf(Members& machine) {
  // Decoding over the usual ones would not do: a missing member is encoded as a record's default.
  const SettingsFields usual = usualSettings();
  SettingsFields settings =
      recordsAt(machine, "settings", nullptr, ipc::Opcode::kGetConfig,
                [](const std::string& payload) { return ipc::decodeSettings(payload); });
  if (settings.signatureDb.empty()) settings.signatureDb = usual.signatureDb;
  if (settings.quarantineDir.empty()) settings.quarantineDir = usual.quarantineDir;
  return settings;
}

ScanSetup::End endOf(const std::string& where, const std::string& word) {
  if (word == "completed") return ScanSetup::End::kCompleted;
  if (word == "stopped") return ScanSetup::End::kStopped;
  if (word == "failed") return ScanSetup::End::kFailed;
  if (word == "nothing") return ScanSetup::End::kNothing;
  fail(where, "must be completed, stopped, failed or nothing");
}

ScanSetup scanOf(const Json& json, const std::string& where) {
  Members members(json, where);
  ScanSetup scan;
  std::string end = "completed";
  members.read("replies", scan.replies);
  members.read("files", scan.files);
  members.read("bytes", scan.bytes);
  members.read("elapsedMs", scan.elapsedMs);
  members.read("suspicious", scan.suspicious);
  members.read("end", end);
  scan.end = endOf(members.placeOf("end"), end);
  scan.threats = recordsAt(members, "threats", "threats", ipc::Opcode::kGetResults, ipc::decodeResults);
  members.finish();
  return scan;
}

JobSetup jobOf(const Json& json, const std::string& where) {
  Members members(json, where);
  JobSetup job;
  members.read("replies", job.replies);
  members.read("running", job.running);
  members.read("succeeds", job.succeeds);
  members.finish();
  return job;
}

MachineSetup machineOf(const Json& json, const std::string& where) {
  Members members(json, where);
  MachineSetup machine;
  machine.status = statusOf(members);
  machine.settings = settingsOf(members);
  machine.quarantine =
      recordsAt(members, "quarantine", "entries", ipc::Opcode::kListQuarantine, ipc::decodeQuarantineList);
  machine.events =
      recordsAt(members, "events", "events", ipc::Opcode::kGetProgress, ipc::decodeProgress).events;
  machine.firewall = "prof,domain,on\nprof,private,on\nprof,public,on\nblockin,off\n";
  members.read("firewall", machine.firewall);
  members.readNumber("lastOperation", machine.lastOperation, /*least=*/1);
  members.read("tickCount", machine.tickCount);
  members.read("time", machine.time);
  members.read("scanRunning", machine.scanRunning);
  if (const Json* scan = members.find("scan")) machine.scan = scanOf(*scan, members.placeOf("scan"));
  if (const Json* job = members.find("liveUpdate"))
    machine.liveUpdate = jobOf(*job, members.placeOf("liveUpdate"));
  if (const Json* job = members.find("updateCheck"))
    machine.updateCheck = jobOf(*job, members.placeOf("updateCheck"));
  members.finish();
  return machine;
}

uint32_t opcodeOf(const Json& json, const std::string& where) {
  if (json.is_string()) {
    if (const auto number = kit::operationNumber(json.get<std::string>())) return *number;
  } else if (json.is_number_unsigned() && json.get<uint64_t>() <= UINT32_MAX) {
    return json.get<uint32_t>();
  }
  fail(where, "must be the name of an operation or an opcode");
}

std::vector<uint32_t> opcodesOf(Members& rule) {
  const Json* json = rule.find("to");
  const std::string where = rule.placeOf("to");
  if (json == nullptr) fail(where, "is missing");
  if (*json == "any") return {};
  if (!json->is_array()) return {opcodeOf(*json, where)};
  if (json->empty()) fail(where, "is empty");
  std::vector<uint32_t> opcodes;
  for (const Json& one : *json) opcodes.push_back(opcodeOf(one, where));
  return opcodes;
}

/// The one member that says what the answer is; none: the machine answers.
void readContent(Members& members, AnswerRule& rule) {
  int contents = 0;
  if (const Json* reply = members.find("reply")) {
    ++contents;
    if (rule.to.empty()) fail(members.placeOf("reply"), "needs operations in \"to\"");
    for (const uint32_t opcode : rule.to)
      rule.replies[opcode] = payloadAt(members.placeOf("reply"), opcode, *reply);
  }
  std::optional<std::string> refuse;
  members.read("refuse", refuse);
  if (refuse) {
    ++contents;
    rule.refusal = refuse->empty() ? std::string() : ipc::encodeText(*refuse);
  }
  if (const Json* payload = members.find("payload")) {
    ++contents;
    rule.payload = bytesAt(members.placeOf("payload"), *payload);
  }
  if (const Json* bytes = members.find("bytes")) {
    ++contents;
    rule.bytes = bytesAt(members.placeOf("bytes"), *bytes);
  }
  members.read("silent", rule.silent);
  if (rule.silent) ++contents;
  if (contents > 1)
    fail(members.placeOf("to"),
         "only one of reply, refuse, payload, bytes and silent says what the answer is");
}

AnswerRule ruleOf(const Json& json, const std::string& where) {
  Members members(json, where);
  AnswerRule rule;
  rule.to = opcodesOf(members);
  members.read("skip", rule.skip);
  members.read("times", rule.times);
  readContent(members, rule);
  if (const Json* append = members.find("append")) rule.append = bytesAt(members.placeOf("append"), *append);
  members.read("opcode", rule.opcode);
  members.read("version", rule.version);
  members.read("length", rule.length);
  members.read("cut", rule.cut);
  members.read("hangUp", rule.hangUp);
  members.read("delayMs", rule.delayMs);
  members.read("pieceBytes", rule.pieceBytes);
  members.read("pieceMs", rule.pieceMs);
  members.finish();
  return rule;
}

}  // namespace

Script scriptOf(const Json& json) {
  Members members(json, "script");
  Script script;
  (void)members.find("$schema");  // for editors
  members.read("about", script.about);
  members.read("absentMs", script.absentMs);
  members.read("busyMs", script.busyMs);
  const Json* machine = members.find("machine");
  script.machine = machineOf(machine == nullptr ? Json::object() : *machine, members.placeOf("machine"));
  if (const Json* answers = members.find("answers")) {
    if (!answers->is_array()) fail(members.placeOf("answers"), "must be a list");
    for (const Json& rule : *answers) {
      script.answers.push_back(
          ruleOf(rule, members.placeOf("answers[" + std::to_string(script.answers.size()) + "]")));
    }
  }
  members.finish();
  return script;
}

Script parseScript(std::string_view text) {
  Json json;
  try {
    json = Json::parse(text);
  } catch (const Json::exception& problem) {
    throw std::invalid_argument(std::string("no JSON: ") + problem.what());
  }
  return scriptOf(json);
}

}  // namespace korvel::mock
