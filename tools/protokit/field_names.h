// The names of the fields of each record, in the order of fieldsOf(). Pure.
#pragma once

#include <array>

#include "protocol/record_fields.h"

namespace korvel::kit {

template <typename Record>
inline constexpr int kFieldNames = 0;

template <>
inline constexpr std::array kFieldNames<Finding>{"severity", "code", "title", "detail"};
template <>
inline constexpr std::array kFieldNames<ThreatEvent>{"path", "name", "code", "severity", "size"};
template <>
inline constexpr std::array kFieldNames<ThreatRecord>{"path", "name",   "code",    "severity",
                                                      "size", "sha256", "reasons", "labels"};
template <>
inline constexpr std::array kFieldNames<ipc::ThreatDecisionRequest>{"path",     "action", "name",  "code",
                                                                    "severity", "size",   "sha256"};
template <>
inline constexpr std::array kFieldNames<QuarantineRecord>{
    "id", "originalPath", "storedPath", "threat", "code", "severity", "size", "time", "storedFileExists"};
template <>
inline constexpr std::array kFieldNames<EngineStatus>{
    "serviceVersion",   "signatureCount",      "signatureVersion",  "protectionEnabled",
    "realTimeActive",   "minifilterConnected", "scanRunning",       "updateCheckRunning",
    "updateCheckError", "minifilterHandled",   "liveUpdateRunning", "updateCheckInstaller"};
template <>
inline constexpr std::array kFieldNames<ScanProgressInfo>{"filesDone",  "filesTotal",  "bytesDone",
                                                          "bytesTotal", "currentPath", "phase"};
template <>
inline constexpr std::array kFieldNames<ScanSummary>{"filesScanned", "threats",   "suspicious",
                                                     "bytesScanned", "elapsedMs", "cancelled"};
template <>
inline constexpr std::array kFieldNames<ScanReport>{"progress", "scanning", "lastSummary", "events"};
template <>
inline constexpr std::array kFieldNames<ipc::FirewallChangeReply>{"ok", "text"};

}  // namespace korvel::kit
