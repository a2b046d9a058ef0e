#include "protokit/message_json.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "base/utf.h"
#include "protokit/field_names.h"
#include "records/settings_keys.h"

namespace korvel::kit {
namespace {

using ipc::Opcode;

constexpr const char* kNames[] = {"GetStatus",          "Ping",
                                  "StartScan",          "GetProgress",
                                  "CancelScan",         "GetResults",
                                  "ThreatDecision",     "ListQuarantine",
                                  "DeleteQuarantined",  "RestoreQuarantined",
                                  "GetConfig",          "SetConfig",
                                  "ReloadSignatures",   "StartLiveUpdate",
                                  "StartUpdateCheck",   "FirewallStatus",
                                  "FirewallSetProfile", "FirewallBlockInbound",
                                  "FirewallAddRule",    "FirewallRemoveRules",
                                  "StopService"};
static_assert(std::size(kNames) == ipc::kLastOpcode);

constexpr size_t kMostElements = 1'000'000;  // of a list that a script repeats

// Values to JSON.

Json toJson(bool value) { return value; }
Json toJson(uint32_t value) { return value; }
Json toJson(int32_t value) { return static_cast<uint32_t>(value); }
Json toJson(uint64_t value) { return value; }
Json toJson(const std::string& value) { return toUtf8(toWide(value)); }
Json toJson(const std::wstring& value) { return toUtf8(value); }
template <typename Record>
Json toJson(const Record& record);

template <typename Element>
Json toJson(const std::vector<Element>& list) {
  Json json = Json::array();
  for (const Element& element : list) json.push_back(toJson(element));
  return json;
}

template <typename Record>
Json toJson(const Record& record) {
  const auto fields = ipc::fieldsOf(record);
  static_assert(std::tuple_size_v<decltype(fields)> == std::size(kFieldNames<Record>));
  Json json = Json::object();
  std::apply(
      [&json](const auto&... field) {
        size_t at = 0;
        ((json[kFieldNames<Record>[at++]] = toJson(field)), ...);
      },
      fields);
  return json;
}

// JSON to values.

[[noreturn]] void wrongType(const std::string& name, const char* wanted) {
  throw std::invalid_argument("\"" + name + "\" must be " + wanted);
}

void fromJson(const Json& json, const std::string& name, bool& value) {
  if (!json.is_boolean()) wrongType(name, "true or false");
  value = json.get<bool>();
}

uint64_t numberOf(const Json& json, const std::string& name, uint64_t most) {
  const bool negative = json.is_number_integer() && !json.is_number_unsigned() && json.get<int64_t>() < 0;
  if (!json.is_number_integer() || negative || json.get<uint64_t>() > most)
    wrongType(name, most == UINT32_MAX ? "a number of 32 bits" : "a number of 64 bits");
  return json.get<uint64_t>();
}

void fromJson(const Json& json, const std::string& name, uint32_t& value) {
  value = static_cast<uint32_t>(numberOf(json, name, UINT32_MAX));
}
void fromJson(const Json& json, const std::string& name, int32_t& value) {
  value = static_cast<int32_t>(numberOf(json, name, UINT32_MAX));
}
void fromJson(const Json& json, const std::string& name, uint64_t& value) {
  value = numberOf(json, name, UINT64_MAX);
}
void fromJson(const Json& json, const std::string& name, std::string& value) {
  if (!json.is_string()) wrongType(name, "a text");
  value = json.get<std::string>();
}
void fromJson(const Json& json, const std::string& name, std::wstring& value) {
  if (!json.is_string()) wrongType(name, "a text");
  value = toWide(json.get<std::string>());
}
template <typename Record>
void fromJson(const Json& json, const std::string& name, Record& record);

/// `json` with "{n}" in its texts replaced by `number`.
Json numbered(const Json& json, const std::string& number) {
  if (json.is_string()) {
    std::string text = json.get<std::string>();
    for (size_t at = 0; (at = text.find("{n}", at)) != text.npos; at += number.size())
      text.replace(at, 3, number);
    return text;
  }
  Json copy = json;
  if (copy.is_structured()) {
    for (auto& part : copy) part = numbered(part, number);
  }
  return copy;
}

Json listOf(const Json& json, const std::string& name) {
  if (json.is_array()) return json;
  if (!json.is_object() || json.size() != 2 || !json.contains("times") || !json.contains("each"))
    wrongType(name, "a list, or {\"times\": N, \"each\": ...}");
  Json list = Json::array();
  const uint64_t times = numberOf(json["times"], "times", kMostElements);
  for (uint64_t i = 1; i <= times; ++i) list.push_back(numbered(json["each"], std::to_string(i)));
  return list;
}

template <typename Element>
void fromJson(const Json& json, const std::string& name, std::vector<Element>& list) {
  for (const Json& part : listOf(json, name)) {
    Element element{};
    fromJson(part, name, element);
    list.push_back(std::move(element));
  }
}

/// Throws for a name that is not among `known`.
template <typename Names>
void requireKnown(const Json& json, const std::string& name, const Names& known) {
  if (!json.is_object()) wrongType(name, "an object");
  for (const auto& [key, value] : json.items()) {
    if (std::find(std::begin(known), std::end(known), key) == std::end(known))
      throw std::invalid_argument(
          std::string("\"").append(key).append("\" is no field of \"").append(name).append("\""));
  }
}

template <typename Record>
void fromJson(const Json& json, const std::string& name, Record& record) {
  requireKnown(json, name, kFieldNames<Record>);
  std::apply(
      [&json](auto&... field) {
        size_t at = 0;
        const auto read = [&](auto& value) {
          const std::string key = kFieldNames<Record>[at++];
          if (json.contains(key)) fromJson(json[key], key, value);
        };
        (read(field), ...);
      },
      ipc::fieldsOf(record));
}

template <typename Value>
Value required(const Json& json, const char* only) {
  requireKnown(json, "value", std::array{std::string_view(only)});
  Value value{};
  if (json.contains(only)) fromJson(json[only], only, value);
  return value;
}

template <typename Record>
Record recordOf(const Json& json) {
  Record record{};
  fromJson(json, "value", record);
  return record;
}

// Settings, whose names are those of settings.ini.

Json settingsJson(const SettingsFields& settings) {
  Json json = Json::object();
  for (const SettingKey& setting : kPipedSettings) {
    std::visit([&](auto field) { json[std::string(setting.key)] = toJson(settings.*field); }, setting.field);
  }
  return json;
}

SettingsFields settingsOf(const Json& json) {
  std::vector<std::string_view> known;
  for (const SettingKey& setting : kPipedSettings) known.push_back(setting.key);
  requireKnown(json, "value", known);
  SettingsFields settings;
  for (const SettingKey& setting : kPipedSettings) {
    const std::string key(setting.key);
    if (json.contains(key))
      std::visit([&](auto field) { fromJson(json[key], key, settings.*field); }, setting.field);
  }
  return settings;
}

// Messages.

/// `make` of a decoded value, or nothing.
template <typename Value, typename Make>
std::optional<Json> shown(const std::optional<Value>& value, const Make& make) {
  if (!value) return std::nullopt;
  return std::optional<Json>(make(*value));
}

template <typename Value>
std::optional<Json> asField(const char* name, const std::optional<Value>& value) {
  return shown(value, [name](const Value& it) {
    Json json = Json::object();
    json[name] = toJson(it);
    return json;
  });
}

template <typename Record>
std::optional<Json> asRecord(const std::optional<Record>& record) {
  return shown(record, [](const Record& it) { return toJson(it); });
}

std::optional<Json> requestValue(Opcode opcode, const std::string& payload) {
  switch (opcode) {
    case Opcode::kStartScan:
      return shown(ipc::decodeStartScan(payload), [](const ipc::StartScanRequest& scan) {
        return Json{{"scope", static_cast<uint32_t>(scan.scope)}, {"targets", toJson(scan.targets)}};
      });
    case Opcode::kThreatDecision:
      return asRecord(ipc::decodeThreatDecision(payload));
    case Opcode::kDeleteQuarantined:
    case Opcode::kRestoreQuarantined:
      return asField("id", ipc::decodeQuarantineId(payload));
    case Opcode::kSetConfig:
      return shown(ipc::decodeSetConfig(payload), settingsJson);
    case Opcode::kFirewallSetProfile:
    case Opcode::kFirewallBlockInbound:
    case Opcode::kFirewallAddRule:
    case Opcode::kFirewallRemoveRules:
      return asField("argument", payload.empty() ? std::optional<std::string>("") : ipc::decodeText(payload));
    default:
      return Json::object();
  }
}

std::optional<Json> replyValue(Opcode opcode, const std::string& payload) {
  switch (opcode) {
    case Opcode::kGetStatus:
      return asRecord(ipc::decodeStatus(payload));
    case Opcode::kPing:
      return asField("tickCount", ipc::decodeNumber(payload));
    case Opcode::kGetProgress:
      return asRecord(ipc::decodeProgress(payload));
    case Opcode::kGetResults:
      return asField("threats", ipc::decodeResults(payload));
    case Opcode::kListQuarantine:
      return asField("entries", ipc::decodeQuarantineList(payload));
    case Opcode::kGetConfig:
      return shown(ipc::decodeSettings(payload), settingsJson);
    case Opcode::kStartLiveUpdate:
    case Opcode::kStartUpdateCheck:
      return asField("started", ipc::decodeNumber(payload));
    case Opcode::kFirewallStatus:
      return asField("listing", std::optional<std::string>(payload));
    case Opcode::kFirewallSetProfile:
    case Opcode::kFirewallBlockInbound:
    case Opcode::kFirewallAddRule:
    case Opcode::kFirewallRemoveRules:
      return asRecord(ipc::decodeFirewallChange(payload));
    default:
      return Json::object();
  }
}

std::string nothing(const Json& value) {
  requireKnown(value, "value", std::vector<std::string_view>{});
  return {};
}

std::string requestPayload(Opcode opcode, const Json& value) {
  switch (opcode) {
    case Opcode::kStartScan: {
      requireKnown(value, "value", std::array{"scope", "targets"});
      uint32_t scope = 0;
      ipc::StartScanRequest scan;
      if (value.contains("scope")) fromJson(value["scope"], "scope", scope);
      if (value.contains("targets")) fromJson(value["targets"], "targets", scan.targets);
      scan.scope = static_cast<ScanScope>(scope);
      return ipc::encodeStartScan(scan);
    }
    case Opcode::kThreatDecision:
      return ipc::encodeThreatDecision(recordOf<ipc::ThreatDecisionRequest>(value));
    case Opcode::kDeleteQuarantined:
    case Opcode::kRestoreQuarantined:
      return ipc::encodeQuarantineId(required<uint64_t>(value, "id"));
    case Opcode::kSetConfig:
      return ipc::encodeSettings(settingsOf(value));
    case Opcode::kFirewallSetProfile:
    case Opcode::kFirewallBlockInbound:
    case Opcode::kFirewallAddRule:
      return ipc::encodeText(required<std::string>(value, "argument"));
    case Opcode::kFirewallRemoveRules: {
      const std::string argument = required<std::string>(value, "argument");
      return argument.empty() ? argument : ipc::encodeText(argument);
    }
    default:
      return nothing(value);
  }
}

std::string replyPayload(Opcode opcode, const Json& value) {
  switch (opcode) {
    case Opcode::kGetStatus:
      return ipc::encodeStatus(recordOf<EngineStatus>(value));
    case Opcode::kPing:
      return ipc::encodeNumber(required<uint32_t>(value, "tickCount"));
    case Opcode::kGetProgress: {
      size_t taken = 0;
      return ipc::encodeProgress(recordOf<ScanReport>(value), &taken);
    }
    case Opcode::kGetResults:
      return ipc::encodeResults(required<std::vector<ThreatRecord>>(value, "threats"));
    case Opcode::kListQuarantine:
      return ipc::encodeQuarantineList(required<std::vector<QuarantineRecord>>(value, "entries"));
    case Opcode::kGetConfig:
      return ipc::encodeSettings(settingsOf(value));
    case Opcode::kStartLiveUpdate:
    case Opcode::kStartUpdateCheck:
      return ipc::encodeNumber(required<uint32_t>(value, "started"));
    case Opcode::kFirewallStatus:
      return required<std::string>(value, "listing");
    case Opcode::kFirewallSetProfile:
    case Opcode::kFirewallBlockInbound:
    case Opcode::kFirewallAddRule:
    case Opcode::kFirewallRemoveRules:
      return ipc::encodeFirewallChange(recordOf<ipc::FirewallChangeReply>(value));
    default:
      return nothing(value);
  }
}

}  // namespace

std::string operationName(uint32_t opcode) {
  return opcode == 0 || opcode > ipc::kLastOpcode ? std::string() : kNames[opcode - 1];
}

std::optional<uint32_t> operationNumber(const std::string& name) {
  const auto* const found = std::find(std::begin(kNames), std::end(kNames), name);
  if (found == std::end(kNames)) return std::nullopt;
  return static_cast<uint32_t>(found - std::begin(kNames)) + 1;
}

std::optional<Json> messageValue(Side side, uint32_t opcode, const std::string& payload) {
  if (side == Side::kReply && opcode == ipc::kErrorOpcode)
    return asField("error", payload.empty() ? std::optional<std::string>("") : ipc::decodeText(payload));
  if (operationName(opcode).empty()) return std::nullopt;
  const auto known = static_cast<Opcode>(opcode);
  return side == Side::kRequest ? requestValue(known, payload) : replyValue(known, payload);
}

std::string messagePayload(Side side, uint32_t opcode, const Json& value) {
  if (side == Side::kReply && opcode == ipc::kErrorOpcode)
    return ipc::encodeText(required<std::string>(value, "error"));
  if (operationName(opcode).empty())
    throw std::invalid_argument("no operation has the number " + std::to_string(opcode));
  const auto known = static_cast<Opcode>(opcode);
  return side == Side::kRequest ? requestPayload(known, value) : replyPayload(known, value);
}

}  // namespace korvel::kit
