#include "korvelmock/machine.h"

#include <algorithm>
#include <utility>

namespace korvel::mock {
namespace {

using ipc::Opcode;

/// Without a target there is still a place for the threats of a scan.
constexpr wchar_t kUsualTarget[] = L"C:\\Users\\Public";

std::wstring replaced(std::wstring text, std::wstring_view what, const std::wstring& by) {
  for (size_t at = 0; (at = text.find(what, at)) != text.npos; at += by.size())
    text.replace(at, what.size(), by);
  return text;
}

std::wstring lastPart(const std::wstring& path) { return path.substr(path.find_last_of(L"\\/") + 1); }

/// Where the service would store a file: seconds, the first digits of the digest, the name.
std::wstring storedPathOf(const std::wstring& folder, uint64_t time, const ThreatRecord& threat) {
  constexpr size_t kDigits = 16;
  const std::string digits = threat.sha256.substr(0, kDigits);
  return folder + L"\\" + std::to_wstring(time) + L"_" + std::wstring(digits.begin(), digits.end()) + L"_" +
         lastPart(threat.path);
}

std::string done() { return ipc::encodeFirewallChange({true, {}}); }
std::string failed(const std::string& text) { return ipc::encodeFirewallChange({false, text}); }

std::string setProfile(const std::string& argument) {
  const size_t comma = argument.find(',');
  const std::string profile = argument.substr(0, comma);
  if (profile != "domain" && profile != "private" && profile != "public")
    return failed("некорректный профиль брандмауэра в запросе");
  const std::string value = comma == argument.npos ? std::string() : argument.substr(comma + 1);
  if (value != "0" && value != "1") return failed("некорректное значение включения профиля");
  return done();
}

std::string blockInbound(const std::string& argument) {
  if (argument != "0" && argument != "1") return failed("некорректное значение блокирования входящих");
  return done();
}

std::string addRule(const std::string& argument) {
  const size_t first = argument.find('|');
  const size_t second = first == argument.npos ? first : argument.find('|', first + 1);
  if (second == argument.npos || second + 1 == argument.size())
    return failed("некорректное описание правила приложения");
  const std::string action = argument.substr(0, first);
  const std::string direction = argument.substr(first + 1, second - first - 1);
  const bool known = (action == "block" || action == "allow") &&
                     (direction == "in" || direction == "out" || direction == "both");
  return known ? done() : failed("некорректное описание правила приложения");
}

std::string firewallChange(Opcode opcode, const std::string& argument) {
  if (opcode == Opcode::kFirewallSetProfile) return setProfile(argument);
  if (opcode == Opcode::kFirewallBlockInbound) return blockInbound(argument);
  if (opcode == Opcode::kFirewallAddRule) return addRule(argument);
  return done();
}

}  // namespace

struct Machine::Answer {
  bool refused = false;
  std::string content;  ///< the payload, or the text of the refusal

  static Answer reply(std::string payload = {}) { return {false, std::move(payload)}; }
  static Answer refuse(std::string text) { return {true, std::move(text)}; }
};

Machine::Machine(const MachineSetup& setup) : setup_(setup) {
  checkOutcome_ = setup_.status;
  if (setup_.liveUpdate.running) liveUpdateReplies_ = setup_.liveUpdate.replies;
  if (setup_.updateCheck.running) updateCheckReplies_ = setup_.updateCheck.replies;
  // What the last check has left is not there before the first one, unless it runs already.
  setup_.status.updateCheckError.clear();
  setup_.status.updateCheckInstaller.clear();
  report_.events = std::exchange(setup_.events, {});
  if (setup_.scanRunning) beginScan({});
}

ipc::Frame Machine::answer(const ipc::Frame& request) {
  const bool known =
      request.opcode != 0 && request.opcode <= std::min(setup_.lastOperation, ipc::kLastOpcode);
  const Answer answer = known ? perform(static_cast<Opcode>(request.opcode), request.payload)
                              : Answer::refuse("unsupported opcode " + std::to_string(request.opcode));
  if (answer.refused) return {ipc::kErrorOpcode, ipc::encodeText(answer.content)};
  return {request.opcode, answer.content};
}

Machine::Answer Machine::perform(Opcode opcode, const std::string& payload) {
  switch (opcode) {
    case Opcode::kGetStatus:
      return Answer::reply(status());
    case Opcode::kPing:
      return Answer::reply(ipc::encodeNumber(setup_.tickCount));
    case Opcode::kStartScan:
      return startScan(payload);
    case Opcode::kGetProgress:
      return Answer::reply(progress());
    case Opcode::kCancelScan:
      if (report_.scanning) endScan(/*byClient=*/true);
      return Answer::reply();
    case Opcode::kGetResults:
      return Answer::reply(ipc::encodeResults(foundSoFar()));
    case Opcode::kThreatDecision:
      return decide(payload);
    case Opcode::kListQuarantine:
      return Answer::reply(ipc::encodeQuarantineList(setup_.quarantine));
    case Opcode::kDeleteQuarantined:
    case Opcode::kRestoreQuarantined:
      return takeEntry(payload, opcode == Opcode::kRestoreQuarantined);
    case Opcode::kGetConfig:
      return Answer::reply(ipc::encodeSettings(setup_.settings));
    case Opcode::kSetConfig:
      return setConfig(payload);
    case Opcode::kReloadSignatures:
      return setup_.status.signatureCount == 0 ? Answer::refuse("database is empty") : Answer::reply();
    case Opcode::kStartLiveUpdate:
    case Opcode::kStartUpdateCheck: {
      const bool live = opcode == Opcode::kStartLiveUpdate;
      uint32_t& replies = live ? liveUpdateReplies_ : updateCheckReplies_;
      if (replies != 0) return Answer::refuse("обновление уже выполняется");
      // At least one reply shows the job, so that its end can happen in one place.
      replies = std::max(1u, live ? setup_.liveUpdate.replies : setup_.updateCheck.replies);
      return Answer::reply(ipc::encodeNumber(1));
    }
    case Opcode::kFirewallStatus:
      return Answer::reply(setup_.firewall);
    case Opcode::kFirewallSetProfile:
    case Opcode::kFirewallBlockInbound:
    case Opcode::kFirewallAddRule:
    case Opcode::kFirewallRemoveRules: {
      const auto argument = payload.empty() ? std::string() : ipc::decodeText(payload);
      if (!argument) return Answer::refuse("malformed firewall payload");
      return Answer::reply(firewallChange(opcode, *argument));
    }
    case Opcode::kStopService:
      return Answer::reply();
  }
  return Answer::reply();
}

std::string Machine::status() {
  EngineStatus status = setup_.status;
  status.protectionEnabled = setup_.settings.protectionEnabled;
  status.realTimeActive = setup_.settings.protectionEnabled && setup_.settings.realTimeEnabled;
  status.scanRunning = report_.scanning;
  status.liveUpdateRunning = liveUpdateReplies_ != 0;
  status.updateCheckRunning = updateCheckReplies_ != 0;
  if (report_.scanning) advanceScan();
  if (liveUpdateReplies_ != 0 && --liveUpdateReplies_ == 0 && setup_.liveUpdate.succeeds)
    setup_.settings.lastLiveUpdateUtc = setup_.time;
  if (updateCheckReplies_ != 0 && --updateCheckReplies_ == 0) {
    setup_.status.updateCheckError = checkOutcome_.updateCheckError;
    setup_.status.updateCheckInstaller = checkOutcome_.updateCheckInstaller;
  }
  return ipc::encodeStatus(status);
}

std::string Machine::progress() {
  size_t taken = 0;
  std::string payload = ipc::encodeProgress(report_, &taken);
  for (size_t i = 0; i < taken; ++i) reported_.insert(report_.events[i].path);
  report_.events.erase(report_.events.begin(), report_.events.begin() + static_cast<ptrdiff_t>(taken));
  if (report_.scanning) advanceScan();
  return payload;
}

Machine::Answer Machine::startScan(const std::string& payload) {
  const auto request = ipc::decodeStartScan(payload);
  if (!request) return Answer::refuse("malformed StartScan payload");
  if (!setup_.settings.protectionEnabled) return Answer::refuse("protection is disabled");
  if (report_.scanning) return Answer::refuse("a scan is already running");
  const bool custom = request->scope != ScanScope::kQuick && request->scope != ScanScope::kFull;
  beginScan(custom ? request->targets : std::vector<std::wstring>());
  // Nothing to scan: the memory, and no targets.
  if (request->scope == ScanScope::kMemory || (custom && request->targets.empty())) {
    endScan(/*byClient=*/false);
    report_.progress = {};
    report_.progress.phase = scan_phase::kIdle;
    report_.lastSummary = {};
    threats_.clear();
  }
  return Answer::reply();
}

void Machine::beginScan(const std::vector<std::wstring>& targets) {
  target_ = targets.empty() ? kUsualTarget : targets.front();
  while (target_.ends_with(L'\\')) target_.pop_back();
  threats_ = setup_.scan.threats;
  for (ThreatRecord& threat : threats_) threat.path = replaced(threat.path, L"{target}", target_);
  for (const ThreatRecord& threat : threats_) gone_.erase(threat.path);  // a new scan finds new files
  scanReplies_ = 0;
  report_.progress = {};
  report_.lastSummary = {};
  report_.scanning = true;
  if (setup_.scan.replies == 0) return endScan(/*byClient=*/false);
  showScan();
}

/// What a reply shows while the scan runs. One that fails or finds no files never gets beyond counting.
void Machine::showScan() {
  const ScanSetup& scan = setup_.scan;
  ScanProgressInfo& progress = report_.progress;
  progress = {};
  if (scanReplies_ == 0 || scan.end == ScanSetup::End::kFailed || scan.end == ScanSetup::End::kNothing) {
    progress.phase = scan_phase::kCounting;
    return;
  }
  const bool last = scanReplies_ + 1 == scan.replies && scan.replies > 2;
  progress.phase = last ? scan_phase::kFinishing : scan_phase::kScanning;
  progress.filesTotal = scan.files;
  progress.bytesTotal = scan.bytes;
  progress.filesDone = scan.files / scan.replies * scanReplies_;
  progress.bytesDone = scan.bytes / scan.replies * scanReplies_;
  progress.currentPath = target_ + L"\\file-" + std::to_wstring(progress.filesDone + 1) + L".bin";
}

void Machine::advanceScan() {
  if (++scanReplies_ >= setup_.scan.replies) return endScan(/*byClient=*/false);
  showScan();
}

void Machine::endScan(bool byClient) {
  using End = ScanSetup::End;
  const ScanSetup& scan = setup_.scan;
  if (byClient || scan.end == End::kStopped) threats_ = foundSoFar();
  const ScanProgressInfo reached = std::exchange(report_.progress, {});
  ScanProgressInfo& progress = report_.progress;
  ScanSummary& summary = report_.lastSummary;
  report_.scanning = false;
  progress.phase = scan_phase::kCancelled;
  if (!byClient && (scan.end == End::kFailed || scan.end == End::kNothing)) {
    progress.phase = scan.end == End::kFailed ? scan_phase::kFailed : scan_phase::kIdle;
    summary.cancelled = scan.end == End::kFailed;
    threats_.clear();
    return;
  }
  const bool whole = !byClient && scan.end == End::kCompleted;
  progress.filesTotal = whole ? scan.files : reached.filesTotal;
  progress.bytesTotal = whole ? scan.bytes : reached.bytesTotal;
  progress.filesDone = whole ? scan.files : reached.filesDone;
  progress.bytesDone = whole ? scan.bytes : reached.bytesDone;
  summary.filesScanned = progress.filesDone;
  summary.bytesScanned = progress.bytesDone;
  summary.elapsedMs = scan.elapsedMs;
  summary.threats =
      static_cast<uint64_t>(std::count_if(threats_.begin(), threats_.end(), [](const ThreatRecord& threat) {
        return threat.severity >= kSeverityHigh;
      }));
  summary.suspicious = scan.suspicious + threats_.size() - summary.threats;
  summary.cancelled = true;  // as the service says of every scan that was carried out
  setup_.settings.lastScanUtc = setup_.time;
  setup_.settings.lastThreatCount = summary.threats;
}

std::vector<ThreatRecord> Machine::foundSoFar() const {
  if (!report_.scanning) return threats_;
  const size_t found = threats_.size() * scanReplies_ / std::max(1u, setup_.scan.replies);
  return {threats_.begin(), threats_.begin() + static_cast<ptrdiff_t>(found)};
}

bool Machine::fileExists(const std::wstring& path) const {
  if (gone_.contains(path)) return false;
  const auto found = foundSoFar();
  return reported_.contains(path) ||
         std::any_of(found.begin(), found.end(),
                     [&path](const ThreatRecord& threat) { return threat.path == path; });
}

Machine::Answer Machine::decide(const std::string& payload) {
  const auto decision = ipc::decodeThreatDecision(payload);
  if (!decision) return Answer::refuse("malformed ThreatDecision payload");
  if (decision->action != ipc::kActionQuarantine && decision->action != ipc::kActionDelete)
    return Answer::reply();
  const ThreatRecord& threat = decision->threat;
  if (!fileExists(threat.path)) return Answer::refuse("file not found");
  gone_.insert(threat.path);
  if (decision->action == ipc::kActionDelete) return Answer::reply();
  QuarantineRecord record;
  constexpr uint64_t kMsPerSecond = 1'000;
  record.id = setup_.time * kMsPerSecond + ++taken_;
  record.originalPath = threat.path;
  record.storedPath = storedPathOf(setup_.settings.quarantineDir, setup_.time, threat);
  record.threat = threat.name;
  record.code = threat.code;
  record.severity = threat.severity;
  record.size = threat.size;
  record.time = setup_.time;
  record.storedFileExists = true;
  setup_.quarantine.push_back(std::move(record));
  return Answer::reply();
}

Machine::Answer Machine::takeEntry(const std::string& payload, bool restore) {
  const auto id = ipc::decodeQuarantineId(payload);
  if (!id) return Answer::refuse("malformed quarantine id");
  const auto entry = std::find_if(setup_.quarantine.begin(), setup_.quarantine.end(),
                                  [&id](const QuarantineRecord& record) { return record.id == *id; });
  if (entry == setup_.quarantine.end()) return Answer::refuse("record not found");
  if (restore && !entry->storedFileExists) return Answer::refuse("restore failed, code 2");
  if (restore) gone_.erase(entry->originalPath);
  setup_.quarantine.erase(entry);
  return Answer::reply();
}

Machine::Answer Machine::setConfig(const std::string& payload) {
  auto settings = ipc::decodeSetConfig(payload);
  if (!settings) return Answer::refuse("malformed SetConfig payload");
  if (settings->signatureDb.empty()) settings->signatureDb = setup_.settings.signatureDb;
  if (settings->quarantineDir.empty()) settings->quarantineDir = setup_.settings.quarantineDir;
  setup_.settings = *settings;
  return Answer::reply();
}

}  // namespace korvel::mock
