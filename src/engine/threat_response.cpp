// What happens to a detection: it is recorded, and quarantined or deleted when the user asks for it.
#include <exception>
#include <iterator>
#include <utility>

#include "base/utf.h"
#include "engine/scan_options.h"
#include "engine/scan_worker.h"
#include "service/runtime/log.h"

namespace korvel::svc {

void ScanWorker::recordThreat(const FileVerdict& verdict, bool pending) {
  ThreatRecord record = makeThreatRecord(verdict);
  const MutexLock lock(stateMutex_);
  (pending ? events_ : results_).push_back(std::move(record));
}

std::vector<ThreatRecord> ScanWorker::takeEvents() {
  std::vector<ThreatRecord> taken;
  const MutexLock lock(stateMutex_);
  taken.swap(events_);
  return taken;
}

void ScanWorker::returnEvents(std::vector<ThreatRecord> events) {
  const MutexLock lock(stateMutex_);
  events_.insert(events_.begin(), std::make_move_iterator(events.begin()),
                 std::make_move_iterator(events.end()));
}

bool ScanWorker::allowAccess(const std::wstring& path) {
  try {
    const std::shared_ptr<const SignatureDatabase> database = currentDatabase();
    if (!database) return true;
    const ScanOptions options = scanOptionsFrom(getSettings());
    const FileVerdict verdict =
        scanFile({database, options.maxFileSize, options.readChunk, /*abandoned=*/{}}, path, driverScratch_);
    // One step above what scans report: only what is surely harmful is blocked outright.
    if (verdict.severity < kSeverityHigh) return true;
    recordThreat(verdict, /*pending=*/true);
    return false;
  } catch (const std::exception&) {
    return true;  // trouble of ours must not lock the user out
  }
}

bool ScanWorker::quarantineThreat(const ThreatRecord& threat, std::string* error) {
  if (!quarantine_.addFile(getSettings().quarantineDir, threat.path, threat.sha256, threat.name, threat.code,
                           threat.severity, /*outRecord=*/nullptr, error)) {
    return false;
  }
  Log::instance().write(kLogInfo, "quarantined: " + toUtf8(threat.path));
  return true;
}

bool ScanWorker::deleteThreat(const ThreatRecord& threat, std::string* error) {
  const std::wstring directory = getSettings().quarantineDir;
  QuarantineRecord stored;
  if (!quarantine_.addFile(directory, threat.path, threat.sha256, threat.name, threat.code, threat.severity,
                           &stored, error)) {
    return false;
  }
  if (!quarantine_.deleteRecord(directory, stored.id, error)) return false;
  Log::instance().write(kLogInfo, "deleted: " + toUtf8(threat.path));
  return true;
}

std::vector<QuarantineRecord> ScanWorker::listQuarantine() {
  return quarantine_.listRecords(getSettings().quarantineDir);
}

bool ScanWorker::restoreQuarantined(uint64_t id, std::string* error) {
  return quarantine_.restoreRecord(getSettings().quarantineDir, id, error);
}

bool ScanWorker::deleteQuarantined(uint64_t id, std::string* error) {
  return quarantine_.deleteRecord(getSettings().quarantineDir, id, error);
}

}  // namespace korvel::svc
