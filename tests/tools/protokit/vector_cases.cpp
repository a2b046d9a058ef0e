#include "tools/protokit/vector_cases.h"

#include "protocol/frame.h"
#include "protocol/wire.h"
#include "base/utf.h"
#include "protokit/byte_pieces.h"

namespace korvel::test {
namespace {

using ipc::Opcode;
using kit::Side;

constexpr char kHash[] = "275a021bbfb6489e54d471899f7db9d1663fc695ec2fe2a2c4538aabf651fd0f";
constexpr wchar_t kRussianPath[] = L"C:\\Users\\Анна\\Загрузки\\счёт №7.pdf.exe";

/// A path with a character outside the basic plane, as the two units that Windows has for it.
std::wstring emojiPath() {
  return std::wstring(L"C:\\") + static_cast<wchar_t>(0xD83D) + static_cast<wchar_t>(0xDE00) + L".exe";
}

/// The cases of one operation.
class Cases {
 public:
  explicit Cases(Opcode opcode) : opcode_(static_cast<uint32_t>(opcode)) {}

  Cases& request(std::string name, const std::string& payload, Json value) {
    return add(std::move(name), Side::kRequest, payload, std::move(value));
  }
  Cases& reply(std::string name, const std::string& payload, Json value) {
    return add(std::move(name), Side::kReply, payload, std::move(value));
  }
  /// The bytes of the last case followed by others: they are ignored.
  Cases& andTrailing() {
    VectorCase last = cases_.back();
    last.name += ", and four bytes that a newer program appended";
    last.payload += u32(7);
    last.sameBytes = false;
    cases_.push_back(std::move(last));
    return *this;
  }
  Cases& otherBytes() {
    cases_.back().sameBytes = false;
    return *this;
  }
  Cases& shortForm(Json pieces) {
    cases_.back().pieces = std::move(pieces);
    return *this;
  }
  Cases& refused(std::string name, const std::string& payload, std::string text) {
    cases_.push_back({.name = std::move(name),
                      .side = Side::kRequest,
                      .opcode = opcode_,
                      .payload = payload,
                      .refusal = std::move(text)});
    return *this;
  }
  Cases& undecodable(std::string name, const std::string& payload) {
    cases_.push_back({.name = std::move(name), .side = Side::kReply, .opcode = opcode_, .payload = payload});
    return *this;
  }
  /// Request and reply without fields.
  Cases& bare() {
    request("ordinary", "", Json::object());
    reply("ordinary", "", Json::object());
    return *this;
  }
  Cases& bareRequest() {
    request("ordinary", "", Json::object());
    return request("a payload where none belongs: ignored", "abc", Json::object()).otherBytes();
  }
  VectorFile file(std::string name) const { return {std::move(name), opcode_, cases_}; }

 private:
  Cases& add(std::string name, Side side, const std::string& payload, Json value) {
    cases_.push_back({.name = std::move(name),
                      .side = side,
                      .opcode = opcode_,
                      .payload = payload,
                      .value = std::move(value)});
    return *this;
  }

  uint32_t opcode_;
  std::vector<VectorCase> cases_;
};

std::string cut(const std::string& payload) { return payload.substr(0, payload.size() - 1); }

VectorFile status() {
  EngineStatus status;
  status.serviceVersion = "1.2.0";
  status.signatureCount = 214'906;
  status.signatureVersion = "live-20261120";
  status.protectionEnabled = true;
  status.realTimeActive = true;
  status.updateCheckError = "нет связи";
  status.minifilterHandled = 0xFFFFFFFFFFFFFFFF;
  status.updateCheckInstaller = "C:\\ProgramData\\KORVEL Antivirus\\updates\\KorvelSetup-1.2.1.exe";
  const Json value = {{"serviceVersion", "1.2.0"},
                      {"signatureCount", 214'906},
                      {"signatureVersion", "live-20261120"},
                      {"protectionEnabled", true},
                      {"realTimeActive", true},
                      {"minifilterConnected", false},
                      {"scanRunning", false},
                      {"updateCheckRunning", false},
                      {"updateCheckError", "нет связи"},
                      {"minifilterHandled", 0xFFFFFFFFFFFFFFFF},
                      {"liveUpdateRunning", false},
                      {"updateCheckInstaller", status.updateCheckInstaller}};
  const std::string payload = ipc::encodeStatus(status);
  Json none = value;
  none["signatureCount"] = 0;
  none["minifilterHandled"] = 0;
  for (const char* text : {"serviceVersion", "signatureVersion", "updateCheckError", "updateCheckInstaller"})
    none[text] = "";
  for (const char* flag : {"protectionEnabled", "realTimeActive"}) none[flag] = false;
  Json odd = none;
  odd["protectionEnabled"] = true;
  std::string oddBool = ipc::encodeStatus({});
  oddBool[16] = 2;  // behind a string, a u64 and a string, all empty
  return Cases(Opcode::kGetStatus)
      .bareRequest()
      .reply("ordinary, with Russian text and the greatest counter", payload, value)
      .andTrailing()
      .reply("empty: no database, everything off", ipc::encodeStatus({}), none)
      .reply("a flag that is 2 is true", oddBool, odd)
      .otherBytes()
      .undecodable("the last byte is missing", cut(payload))
      .undecodable("empty", "")
      .file("01-get-status");
}

VectorFile ping() {
  return Cases(Opcode::kPing)
      .bareRequest()
      .reply("ordinary", ipc::encodeTickCount(123'456'789), {{"tickCount", 123'456'789}})
      .andTrailing()
      .reply("largest: one millisecond later it is 0", ipc::encodeTickCount(0xFFFFFFFF),
             {{"tickCount", 0xFFFFFFFF}})
      .undecodable("three bytes", "abc")
      .file("02-ping");
}

VectorFile startScan() {
  constexpr char kRefused[] = "malformed StartScan payload";
  const ipc::StartScanRequest custom{ScanScope::kCustom, {L"C:\\Temp", L"D:\\"}};
  const ipc::StartScanRequest russian{ScanScope::kCustom, {kRussianPath, emojiPath()}};
  const ipc::StartScanRequest largest{ScanScope::kCustom, std::vector<std::wstring>(ipc::kMaxScanTargets)};
  const std::string payload = ipc::encodeStartScan(custom);
  return Cases(Opcode::kStartScan)
      .request("ordinary: two folders", payload, {{"scope", 3}, {"targets", {"C:\\Temp", "D:\\"}}})
      .andTrailing()
      .request("empty list: a quick scan", ipc::encodeStartScan({ScanScope::kQuick, {}}),
               {{"scope", 0}, {"targets", Json::array()}})
      .request("non-ASCII", ipc::encodeStartScan(russian),
               {{"scope", 3}, {"targets", {"C:\\Users\\Анна\\Загрузки\\счёт №7.pdf.exe", "C:\\😀.exe"}}})
      .request("bytes that are no UTF-8 become U+FFFD", u32(3) + u32(1) + text("C:\\\xFF"),
               {{"scope", 3}, {"targets", {"C:\\\xEF\xBF\xBD"}}})
      .otherBytes()
      .request("an unknown scope is as 3", u32(77) + u32(0), {{"scope", 77}, {"targets", Json::array()}})
      .request("largest: 100,000 empty targets", ipc::encodeStartScan(largest),
               {{"scope", 3}, {"targets", {{"times", 100'000}, {"each", ""}}}})
      .shortForm({"03000000", "a0860100", "00000000*100000"})
      .refused("one target too many", u32(3) + u32(100'001), kRefused)
      .refused("empty", "", kRefused)
      .refused("no count", u32(3), kRefused)
      .refused("the last byte is missing", cut(payload), kRefused)
      .refused("a text longer than what is left", u32(3) + u32(1) + u32(5) + "C:\\a", kRefused)
      .refused("a text of 4 GiB", u32(3) + u32(1) + u32(0xFFFFFFFF), kRefused)
      .reply("ordinary", "", Json::object())
      .file("03-start-scan");
}

ThreatEvent event() { return {L"C:\\Temp\\eicar.com", "EICAR-Test-File", "EICAR", 4, 68}; }
Json eventValue() {
  return {{"path", "C:\\Temp\\eicar.com"},
          {"name", "EICAR-Test-File"},
          {"code", "EICAR"},
          {"severity", 4},
          {"size", 68}};
}

VectorFile progress() {
  ScanReport report;
  report.progress = {.filesDone = 3,
                     .filesTotal = 10,
                     .bytesDone = 4'096,
                     .bytesTotal = 1'048'576,
                     .currentPath = kRussianPath,
                     .phase = scan_phase::kScanning};
  report.scanning = true;
  report.events = {event()};
  const Json noSummary = {{"filesScanned", 0}, {"threats", 0},   {"suspicious", 0},
                          {"bytesScanned", 0}, {"elapsedMs", 0}, {"cancelled", false}};
  const Json value = {{"progress",
                       {{"filesDone", 3},
                        {"filesTotal", 10},
                        {"bytesDone", 4'096},
                        {"bytesTotal", 1'048'576},
                        {"currentPath", "C:\\Users\\Анна\\Загрузки\\счёт №7.pdf.exe"},
                        {"phase", "scanning"}}},
                      {"scanning", true},
                      {"lastSummary", noSummary},
                      {"events", Json::array({eventValue()})}};
  ScanReport done;
  done.progress = {.filesDone = 10,
                   .filesTotal = 10,
                   .bytesDone = 1'048'576,
                   .bytesTotal = 1'048'576,
                   .currentPath = {},
                   .phase = scan_phase::kCancelled};
  done.lastSummary = {.filesScanned = 10,
                      .threats = 1,
                      .suspicious = 2,
                      .bytesScanned = 1'048'576,
                      .elapsedMs = 1'234,
                      .cancelled = true};
  Json doneValue = {{"progress",
                     {{"filesDone", 10},
                      {"filesTotal", 10},
                      {"bytesDone", 1'048'576},
                      {"bytesTotal", 1'048'576},
                      {"currentPath", ""},
                      {"phase", "cancelled"}}},
                    {"scanning", false},
                    {"lastSummary",
                     {{"filesScanned", 10},
                      {"threats", 1},
                      {"suspicious", 2},
                      {"bytesScanned", 1'048'576},
                      {"elapsedMs", 1'234},
                      {"cancelled", true}}},
                    {"events", Json::array()}};
  ScanReport cutShort = done;
  cutShort.progress.filesDone = 4;
  Json cutValue = doneValue;
  cutValue["progress"]["filesDone"] = 4;
  const Json nothing = {{"progress",
                         {{"filesDone", 0},
                          {"filesTotal", 0},
                          {"bytesDone", 0},
                          {"bytesTotal", 0},
                          {"currentPath", ""},
                          {"phase", ""}}},
                        {"scanning", false},
                        {"lastSummary", noSummary},
                        {"events", Json::array()}};
  const auto encode = [](const ScanReport& of) {
    size_t taken = 0;
    return ipc::encodeProgress(of, &taken);
  };
  return Cases(Opcode::kGetProgress)
      .bareRequest()
      .reply("ordinary: in the midst of a scan, with an event and Russian text", encode(report), value)
      .andTrailing()
      .reply("a scan that ran to its end", encode(done), doneValue)
      .reply("a scan that was cut", encode(cutShort), cutValue)
      .reply("empty: before the first scan", encode({}), nothing)
      .undecodable("the last byte is missing", cut(encode(report)))
      .undecodable("more events than bytes", encode({}).substr(0, encode({}).size() - 4) + u32(0xFFFFFFFF))
      .file("04-get-progress");
}

VectorFile results() {
  ThreatRecord threat;
  static_cast<ThreatEvent&>(threat) = event();
  threat.sha256 = kHash;
  threat.reasons = {{4, "SIG.MATCH", "Совпадение с базой", "EICAR-Test-File"}};
  threat.labels = {"Тестовый файл"};
  Json value = eventValue();
  value["sha256"] = kHash;
  value["reasons"] = Json::array({{{"severity", 4},
                                   {"code", "SIG.MATCH"},
                                   {"title", "Совпадение с базой"},
                                   {"detail", "EICAR-Test-File"}}});
  value["labels"] = {"Тестовый файл"};
  ThreatRecord bare;
  bare.path = kRussianPath;
  bare.severity = 7;
  const Json bareValue = {{"path", "C:\\Users\\Анна\\Загрузки\\счёт №7.pdf.exe"},
                          {"name", ""},
                          {"code", ""},
                          {"severity", 7},
                          {"size", 0},
                          {"sha256", ""},
                          {"reasons", Json::array()},
                          {"labels", Json::array()}};
  const ThreatRecord least{};
  Json leastValue = bareValue;
  leastValue["path"] = "";
  leastValue["severity"] = 3;
  const std::string one = ipc::encodeResults({threat});
  return Cases(Opcode::kGetResults)
      .bareRequest()
      .reply("ordinary", one, {{"threats", Json::array({value})}})
      .andTrailing()
      .reply("empty", ipc::encodeResults({}), {{"threats", Json::array()}})
      .reply("two, one of an unknown severity and without reasons", ipc::encodeResults({threat, bare}),
             {{"threats", Json::array({value, bareValue})}})
      .reply("large: 10,000 threats", ipc::encodeResults(std::vector<ThreatRecord>(10'000, least)),
             {{"threats", {{"times", 10'000}, {"each", leastValue}}}})
      .shortForm({"10270000", kit::hexOf(ipc::encodeResults({least}).substr(4)) + "*10000"})
      .undecodable("the last byte is missing", cut(one))
      .undecodable("more threats than bytes", u32(0xFFFFFFFF))
      .file("06-get-results");
}

VectorFile decision() {
  constexpr char kRefused[] = "malformed ThreatDecision payload";
  ipc::ThreatDecisionRequest request;
  request.action = ipc::kActionQuarantine;
  static_cast<ThreatEvent&>(request.threat) = event();
  request.threat.sha256 = kHash;
  Json value = {{"path", "C:\\Temp\\eicar.com"},
                {"action", 1},
                {"name", "EICAR-Test-File"},
                {"code", "EICAR"},
                {"severity", 4},
                {"size", 68},
                {"sha256", kHash}};
  const std::string payload = ipc::encodeThreatDecision(request);
  ipc::ThreatDecisionRequest russian;
  russian.action = ipc::kActionDelete;
  russian.threat.path = kRussianPath;
  const Json russianValue = {{"path", "C:\\Users\\Анна\\Загрузки\\счёт №7.pdf.exe"},
                             {"action", 2},
                             {"name", ""},
                             {"code", ""},
                             {"severity", 3},
                             {"size", 0},
                             {"sha256", ""}};
  ipc::ThreatDecisionRequest unknown = request;
  unknown.action = 3;
  Json unknownValue = value;
  unknownValue["action"] = 3;
  return Cases(Opcode::kThreatDecision)
      .request("ordinary: quarantine", payload, value)
      .andTrailing()
      .request("non-ASCII: delete, with nothing known but the path", ipc::encodeThreatDecision(russian),
               russianValue)
      .request("an unknown action: accepted, does nothing", ipc::encodeThreatDecision(unknown), unknownValue)
      .refused("empty", "", kRefused)
      .refused("the last byte is missing", cut(payload), kRefused)
      .reply("ordinary", "", Json::object())
      .file("07-threat-decision");
}

VectorFile quarantineList() {
  QuarantineRecord record;
  record.id = 1'795'219'200'123;
  record.originalPath = L"C:\\Temp\\eicar.com";
  record.storedPath = L"C:\\ProgramData\\KORVEL Antivirus\\Quarantine\\1795219200_275a021bbfb6489e_eicar.com";
  record.threat = "EICAR-Test-File";
  record.code = "EICAR";
  record.severity = 4;
  record.size = 68;
  record.time = 1'795'219'200;
  record.storedFileExists = true;
  const Json value = {{"id", 1'795'219'200'123},
                      {"originalPath", "C:\\Temp\\eicar.com"},
                      {"storedPath", toUtf8(record.storedPath)},
                      {"threat", "EICAR-Test-File"},
                      {"code", "EICAR"},
                      {"severity", 4},
                      {"size", 68},
                      {"time", 1'795'219'200},
                      {"storedFileExists", true}};
  QuarantineRecord lost = record;
  lost.originalPath = kRussianPath;
  lost.storedFileExists = false;
  Json lostValue = value;
  lostValue["originalPath"] = "C:\\Users\\Анна\\Загрузки\\счёт №7.pdf.exe";
  lostValue["storedFileExists"] = false;
  const std::string one = ipc::encodeQuarantineList({record});
  return Cases(Opcode::kListQuarantine)
      .bareRequest()
      .reply("ordinary", one, {{"entries", Json::array({value})}})
      .andTrailing()
      .reply("empty", ipc::encodeQuarantineList({}), {{"entries", Json::array()}})
      .reply("non-ASCII: the second file is not there any more", ipc::encodeQuarantineList({record, lost}),
             {{"entries", Json::array({value, lostValue})}})
      .undecodable("the last byte is missing", cut(one))
      .undecodable("more entries than bytes", u32(0xFFFFFFFF))
      .file("08-list-quarantine");
}

VectorFile quarantineId(Opcode opcode, const char* name) {
  constexpr char kRefused[] = "malformed quarantine id";
  return Cases(opcode)
      .request("ordinary", ipc::encodeQuarantineId(1'795'219'200'123), {{"id", 1'795'219'200'123}})
      .andTrailing()
      .request("largest", ipc::encodeQuarantineId(UINT64_MAX), {{"id", UINT64_MAX}})
      .refused("empty", "", kRefused)
      .refused("seven bytes", "1234567", kRefused)
      .reply("ordinary", "", Json::object())
      .file(name);
}

SettingsFields settings() {
  SettingsFields fields;
  fields.lastScanUtc = 1'795'219'200;
  fields.lastThreatCount = 1;
  fields.signatureDb = L"C:\\Program Files\\Korvel\\data\\signatures.seed.txt";
  fields.quarantineDir = L"C:\\ProgramData\\KORVEL Antivirus\\Quarantine";
  return fields;
}

Json settingsValue() {
  return {{"ProtectionEnabled", true},
          {"RealTimeEnabled", true},
          {"ScanArchives", false},
          {"ScanRemovable", false},
          {"ShowThreatModal", true},
          {"QuarantineOnDetect", false},
          {"ScheduledScan", true},
          {"ScheduledHour", 4},
          {"LastScanUtc", 1'795'219'200},
          {"LastThreatCount", 1},
          {"SignatureDb", "C:\\Program Files\\Korvel\\data\\signatures.seed.txt"},
          {"QuarantineDir", "C:\\ProgramData\\KORVEL Antivirus\\Quarantine"},
          {"LiveUpdates", true},
          {"LastLiveUpdateUtc", 0},
          {"WebShield", true}};
}

VectorFile getConfig() {
  const std::string payload = ipc::encodeSettings(settings());
  return Cases(Opcode::kGetConfig)
      .bareRequest()
      .reply("ordinary", payload, settingsValue())
      .andTrailing()
      .undecodable("cut before the last field", payload.substr(0, payload.size() - 4))
      .undecodable("empty", "")
      .file("11-get-config");
}

VectorFile setConfig() {
  constexpr char kRefused[] = "malformed SetConfig payload";
  const std::string payload = ipc::encodeSettings(settings());
  SettingsFields empty;
  Json emptyValue = settingsValue();
  emptyValue["LastScanUtc"] = 0;
  emptyValue["LastThreatCount"] = 0;
  emptyValue["SignatureDb"] = "";
  emptyValue["QuarantineDir"] = "";
  SettingsFields russian = settings();
  russian.quarantineDir = L"D:\\Карантин";
  Json russianValue = settingsValue();
  russianValue["QuarantineDir"] = "D:\\Карантин";
  SettingsFields late = settings();
  late.scheduledHour = 30;
  Json lateValue = settingsValue();
  lateValue["ScheduledHour"] = 6;
  SettingsFields twoLines = settings();
  twoLines.signatureDb = L"C:\\a\nProtectionEnabled=0";
  SettingsFields withNul = settings();
  withNul.quarantineDir = std::wstring(L"C:\\a\0b", 6);
  return Cases(Opcode::kSetConfig)
      .request("ordinary", payload, settingsValue())
      .andTrailing()
      .request("empty paths: those in force stay", ipc::encodeSettings(empty), emptyValue)
      .request("non-ASCII", ipc::encodeSettings(russian), russianValue)
      .request("hour 30 is hour 6", ipc::encodeSettings(late), lateValue)
      .otherBytes()
      .refused("cut before the last field", payload.substr(0, payload.size() - 4), kRefused)
      .refused("empty", "", kRefused)
      .refused("a path with a line feed", ipc::encodeSettings(twoLines), kRefused)
      .refused("a path with a NUL", ipc::encodeSettings(withNul), kRefused)
      .reply("ordinary", "", Json::object())
      .file("12-set-config");
}

VectorFile started(Opcode opcode, const char* name) {
  return Cases(opcode)
      .bareRequest()
      .reply("ordinary", ipc::encodeNumber(1), {{"started", 1}})
      .andTrailing()
      .undecodable("empty", "")
      .file(name);
}

VectorFile firewallStatus() {
  const std::string listing =
      "prof,domain,on\nprof,private,on\nprof,public,off\n"
      "rule,on,block,in,KORVEL: a\\,b.exe (in),C:\\Программы\\a\\,b.exe\nblockin,off\n";
  return Cases(Opcode::kFirewallStatus)
      .bareRequest()
      .reply("ordinary, with a comma in a name and Russian text", listing, {{"listing", listing}})
      .reply("empty", "", {{"listing", ""}})
      .file("16-firewall-status");
}

VectorFile firewallChange(Opcode opcode, const char* name, const std::string& argument) {
  constexpr char kRefused[] = "malformed firewall payload";
  const std::string failure = "брандмауэр недоступен: код 0x80070422";
  Cases cases(opcode);
  if (argument.empty()) {
    cases.request("ordinary", "", {{"argument", ""}});
    cases.request("an argument: ignored", ipc::encodeText("x"), {{"argument", "x"}}).otherBytes();
  } else {
    cases.request("ordinary", ipc::encodeText(argument), {{"argument", argument}}).andTrailing();
    cases.request("empty: an empty argument", "", {{"argument", ""}}).otherBytes();
  }
  return cases.refused("three bytes", "abc", kRefused)
      .refused("a text longer than what is left", u32(5) + "1234", kRefused)
      .reply("ordinary: done", ipc::encodeFirewallChange({true, ""}), {{"ok", true}, {"text", ""}})
      .andTrailing()
      .reply("failed, with Russian text", ipc::encodeFirewallChange({false, failure}),
             {{"ok", false}, {"text", failure}})
      .undecodable("no text", u32(1))
      .file(name);
}

VectorFile bare(Opcode opcode, const char* name) { return Cases(opcode).bare().file(name); }

}  // namespace

std::vector<VectorFile> vectorFiles() {
  return {
      status(),
      ping(),
      startScan(),
      progress(),
      bare(Opcode::kCancelScan, "05-cancel-scan"),
      results(),
      decision(),
      quarantineList(),
      quarantineId(Opcode::kDeleteQuarantined, "09-delete-quarantined"),
      quarantineId(Opcode::kRestoreQuarantined, "10-restore-quarantined"),
      getConfig(),
      setConfig(),
      bare(Opcode::kReloadSignatures, "13-reload-signatures"),
      started(Opcode::kStartLiveUpdate, "14-start-live-update"),
      started(Opcode::kStartUpdateCheck, "15-start-update-check"),
      firewallStatus(),
      firewallChange(Opcode::kFirewallSetProfile, "17-firewall-set-profile", "public,1"),
      firewallChange(Opcode::kFirewallBlockInbound, "18-firewall-block-inbound", "1"),
      firewallChange(Opcode::kFirewallAddRule, "19-firewall-add-rule", "block|both|C:\\Программы\\game.exe"),
      firewallChange(Opcode::kFirewallRemoveRules, "20-firewall-remove-rules", ""),
      bare(Opcode::kStopService, "21-stop-service")};
}

std::vector<FrameCase> frameCases() {
  RawFrame otherMagic{.magic = 0x4C56524B, .opcode = 2};
  RawFrame newer{.version = 2, .opcode = 2};
  RawFrame older{.version = 0, .opcode = 2};
  RawFrame reserved{.opcode = 2, .reserved = "reserved"};
  RawFrame tooLong{.opcode = 2, .length = ipc::kMaxPayloadBytes + 1};
  RawFrame largest{.opcode = 2, .length = ipc::kMaxPayloadBytes};
  const std::string largestHead = largest.bytes();
  largest.payload.assign(ipc::kMaxPayloadBytes, 'A');
  return {{.name = "a request without payload", .bytes = frame(2)},
          {.name = "a reply with a payload", .bytes = frame(2, u32(123'456'789))},
          {.name = "reserved bytes that are not zero: accepted", .bytes = reserved.bytes()},
          {.name = "the largest payload, 33,554,432 bytes",
           .bytes = largest.bytes(),
           .pieces = {kit::hexOf(largestHead), "41*33554432"}},
          {.name = "a declared length above the limit",
           .bytes = tooLong.bytes(),
           .error = "declared payload too large"},
          {.name = "a newer version", .bytes = newer.bytes(), .error = "unsupported protocol version"},
          {.name = "an older version", .bytes = older.bytes(), .error = "unsupported protocol version"},
          {.name = "another magic", .bytes = otherMagic.bytes(), .error = "bad magic"}};
}

std::vector<Refusal> refusals() {
  return {
      {0, "unsupported opcode 0", "opcode 0 or above 21; the number follows the text"},
      {22, "unsupported opcode 22", "opcode 0 or above 21; the number follows the text"},
      {3, "malformed StartScan payload", "the payload cannot be decoded, or has more than 100,000 targets"},
      {3, "service is stopping", "the service ends"},
      {3, "protection is disabled", "ProtectionEnabled is off"},
      {3, "a scan is already running", "any client's, or the scheduled one"},
      {7, "malformed ThreatDecision payload", "the payload cannot be decoded"},
      {7, "file not found", "no file has that path"},
      {7, "cannot create quarantine dir: D:\\Quarantine", "QuarantineDir cannot be made; the path follows"},
      {7, "MoveFileEx failed, code 32 (файл может быть запущен или заблокирован)",
       "the file cannot be moved; the code is that of Windows"},
      {7, "record not found", "action 2: the record of the file just taken is gone again"},
      {9, "malformed quarantine id", "fewer than eight bytes"},
      {9, "record not found", "no entry has that id"},
      {10, "malformed quarantine id", "fewer than eight bytes"},
      {10, "record not found", "no entry has that id"},
      {10, "restore failed, code 5", "the file cannot be moved back; the code is that of Windows"},
      {12, "malformed SetConfig payload", "a field is missing, or a path holds a line feed or a NUL"},
      {13, "database is empty", "neither signature file has an entry; the old database stays"},
      {13, "cannot open: C:\\Program Files\\Korvel\\data\\signatures.seed.txt",
       "SignatureDb cannot be read and the live file has nothing; the old database stays"},
      {13, "parse error in C:\\Program Files\\Korvel\\data\\signatures.seed.txt",
       "SignatureDb does not fit into memory; the old database stays"},
      {14, "обновление уже выполняется", "a requested live update runs"},
      {15, "обновление уже выполняется", "a check runs"},
      {17, "malformed firewall payload", "the argument cannot be decoded"},
      {17, "некорректный профиль брандмауэра в запросе", "not domain, private or public", true},
      {17, "некорректное значение включения профиля", "not 0 or 1", true},
      {17, "не удалось изменить состояние профиля: требуются права администратора (код 0x80070005)",
       "Windows refuses", true},
      {18, "malformed firewall payload", "the argument cannot be decoded"},
      {18, "некорректное значение блокирования входящих", "not 0 or 1", true},
      {19, "malformed firewall payload", "the argument cannot be decoded"},
      {19, "некорректное описание правила приложения", "not action|direction|path", true},
      {19, "не удалось собрать правило: код 0x80070057", "Windows refuses a part of the rule", true},
      {19, "не удалось добавить правило: требуются права администратора (код 0x80070005)",
       "Windows refuses the rule", true},
      {20, "malformed firewall payload", "the argument cannot be decoded"},
      {20, "не удалось получить набор правил: требуются права администратора (код 0x80070005)",
       "also 18 and 19", true},
      {20, "не удалось удалить правило: требуются права администратора (код 0x80070005)", "also 18 and 19",
       true},
      {20, "брандмауэр недоступен: код 0x80070422", "also 17 to 19", true},
      {20, "внутренняя ошибка брандмауэра", "also 17 to 19", true},
      {20, "service is stopping", "the service ends; also 18 and 19", true},
  };
}

}  // namespace korvel::test
