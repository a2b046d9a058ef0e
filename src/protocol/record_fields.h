// The fields of each record on the pipe, in their order there: one list for encoder and decoder. fieldsOf()
// returns the fields of a record as a tuple of references. Pure; for what treats all fields alike: the
// codecs, and tools/protokit, which names them.
#pragma once

#include <concepts>
#include <tuple>
#include <type_traits>

#include "protocol/messages.h"

namespace korvel::ipc {

/// `T` is `Record` or const `Record`, and not merely derived from it.
template <typename T, typename Record>
concept Either = std::same_as<std::remove_const_t<T>, Record>;

template <Either<Finding> T>
auto fieldsOf(T& finding) {
  return std::tie(finding.severity, finding.code, finding.title, finding.detail);
}

template <Either<ThreatEvent> T>
auto fieldsOf(T& event) {
  return std::tie(event.path, event.name, event.code, event.severity, event.size);
}

template <Either<ThreatRecord> T>
auto fieldsOf(T& threat) {
  return std::tie(threat.path, threat.name, threat.code, threat.severity, threat.size, threat.sha256,
                  threat.reasons, threat.labels);
}

/// The action follows the threat's path; the reasons and labels of the threat do not travel.
template <Either<ThreatDecisionRequest> T>
auto fieldsOf(T& request) {
  auto& threat = request.threat;
  return std::tie(threat.path, request.action, threat.name, threat.code, threat.severity, threat.size,
                  threat.sha256);
}

template <Either<QuarantineRecord> T>
auto fieldsOf(T& record) {
  return std::tie(record.id, record.originalPath, record.storedPath, record.threat, record.code,
                  record.severity, record.size, record.time, record.storedFileExists);
}

template <Either<EngineStatus> T>
auto fieldsOf(T& status) {
  return std::tie(status.serviceVersion, status.signatureCount, status.signatureVersion,
                  status.protectionEnabled, status.realTimeActive, status.minifilterConnected,
                  status.scanRunning, status.updateCheckRunning, status.updateCheckError,
                  status.minifilterHandled, status.liveUpdateRunning, status.updateCheckInstaller);
}

template <Either<ScanProgressInfo> T>
auto fieldsOf(T& progress) {
  return std::tie(progress.filesDone, progress.filesTotal, progress.bytesDone, progress.bytesTotal,
                  progress.currentPath, progress.phase);
}

template <Either<ScanSummary> T>
auto fieldsOf(T& summary) {
  return std::tie(summary.filesScanned, summary.threats, summary.suspicious, summary.bytesScanned,
                  summary.elapsedMs, summary.cancelled);
}

template <Either<ScanReport> T>
auto fieldsOf(T& report) {
  return std::tie(report.progress, report.scanning, report.lastSummary, report.events);
}

template <Either<FirewallChangeReply> T>
auto fieldsOf(T& reply) {
  return std::tie(reply.ok, reply.text);
}

}  // namespace korvel::ipc
