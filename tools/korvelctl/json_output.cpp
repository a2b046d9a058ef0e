#include "korvelctl/json_output.h"

#include <nlohmann/json.hpp>

#include "base/utf.h"

namespace korvel::ctl {

using Json = nlohmann::ordered_json;

Json statusJson(const EngineStatus& status) {
  return Json{{"version", status.serviceVersion},
              {"signatures", status.signatureCount},
              {"signatureVersion", status.signatureVersion},
              {"protectionEnabled", status.protectionEnabled},
              {"realTimeActive", status.realTimeActive},
              {"minifilterConnected", status.minifilterConnected},
              {"minifilterHandled", status.minifilterHandled},
              {"scanRunning", status.scanRunning},
              {"liveUpdateRunning", status.liveUpdateRunning},
              {"updateCheckRunning", status.updateCheckRunning},
              {"updateCheckError", status.updateCheckError},
              {"updateCheckInstaller", status.updateCheckInstaller}};
}

Json shieldJson(const SettingsFields& settings, const EngineStatus& status) {
  return Json{{"webShield", settings.webShield},
              {"liveUpdates", settings.liveUpdates},
              {"lastLiveUpdateUtc", settings.lastLiveUpdateUtc},
              {"signatures", status.signatureCount},
              {"signatureVersion", status.signatureVersion}};
}

Json threatsJson(const std::vector<ThreatRecord>& threats) {
  Json list = Json::array();
  for (size_t i = 0; i < threats.size(); ++i) {
    const ThreatRecord& threat = threats[i];
    Json reasons = Json::array();
    for (const Finding& finding : threat.reasons) {
      reasons.push_back(Json{{"severity", severityName(finding.severity)},
                             {"code", finding.code},
                             {"title", finding.title},
                             {"detail", finding.detail}});
    }
    list.push_back(Json{{"number", i + 1},
                        {"path", toUtf8(threat.path)},
                        {"name", threat.name},
                        {"code", threat.code},
                        {"severity", severityName(threat.severity)},
                        {"size", threat.size},
                        {"sha256", threat.sha256},
                        {"reasons", std::move(reasons)},
                        {"labels", threat.labels}});
  }
  return list;
}

Json quarantineJson(const std::vector<QuarantineRecord>& records) {
  Json list = Json::array();
  for (const QuarantineRecord& record : records) {
    list.push_back(Json{{"id", record.id},
                        {"originalPath", toUtf8(record.originalPath)},
                        {"storedPath", toUtf8(record.storedPath)},
                        {"threat", record.threat},
                        {"code", record.code},
                        {"severity", severityName(record.severity)},
                        {"size", record.size},
                        {"time", record.time},
                        {"storedFileExists", record.storedFileExists}});
  }
  return list;
}

Json scanJson(const std::wstring& state, const ScanSummary& summary,
              const std::vector<ThreatRecord>& threats) {
  return Json{{"state", toUtf8(state)},
              {"filesScanned", summary.filesScanned},
              {"bytesScanned", summary.bytesScanned},
              {"threatCount", summary.threats},
              {"suspiciousCount", summary.suspicious},
              {"elapsedMs", summary.elapsedMs},
              {"threats", threatsJson(threats)}};
}

std::string dumpJson(const Json& json) {
  return json.dump(/*indent=*/2, /*indent_char=*/' ', /*ensure_ascii=*/false,
                   Json::error_handler_t::replace) +
         "\n";
}

}  // namespace korvel::ctl
