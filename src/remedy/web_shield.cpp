#include "remedy/web_shield.h"

#include "net/http_client.h"
#include "net/public_lists.h"
#include "net/url_text.h"
#include "remedy/hosts_file.h"
#include "runtime/log.h"

namespace korvel {
namespace {

void log(LogLevel level, const std::string& text) { Log::instance().write(level, "web shield: " + text); }

void cleanHosts(const std::wstring& hosts, const StopToken& stop) {
  if (countBlockedEntriesIn(hosts) == 0) return;
  std::string error;
  if (removeBlocklistFrom(hosts, &error, stop) || stop.stop_requested()) return;
  log(kLogWarning, "cannot clean hosts: " + error);
}

}  // namespace

std::string domainListUrl(const SettingsFields& settings) {
  if (settings.updateServer.empty()) return kPublicDomainList;
  return serverUrl(settings.updateServer, "/api/v1/blocklist");
}

bool fetchDomainList(const std::string& url, DomainList& list, std::string* error, const StopToken& stop) {
  DomainListReader reader;
  const auto take = [&reader](std::string_view piece) { reader.take(piece); };
  if (!httpGetPieces(url, take, error, stop)) return false;
  list = reader.finish();
  return true;
}

void runWebShield(const SettingsFields& settings, const StopToken& stop) {
  runWebShieldOn(hostsFilePath(), settings, stop);
}

void runWebShieldOn(const std::wstring& hosts, const SettingsFields& settings, const StopToken& stop) {
  if (!settings.webShield) return cleanHosts(hosts, stop);
  DomainList list;
  std::string error;
  if (!fetchDomainList(domainListUrl(settings), list, &error, stop)) {
    if (stop.stop_requested()) return;
    return log(kLogWarning, "domain feed failed: " + error);
  }
  if (!applyBlocklistTo(hosts, list.first, &error, stop)) {
    if (stop.stop_requested()) return;
    return log(kLogError, "hosts update failed: " + error);
  }
  log(kLogInfo, "blocked " + std::to_string(list.count) + " domains (" +
                    std::to_string(countBlockedEntriesIn(hosts)) + " hosts entries)");
}

}  // namespace korvel
