#include "remedy/web_shield.h"

#include <utility>

#include "net/http_client.h"
#include "net/public_lists.h"
#include "net/url_text.h"
#include "remedy/blocklist_text.h"
#include "remedy/hosts_file.h"
#include "service/runtime/log.h"

namespace korvel {
namespace {

void log(LogLevel level, const std::string& text) { Log::instance().write(level, "web shield: " + text); }

void cleanHosts(const std::wstring& hosts) {
  if (countBlockedEntriesIn(hosts) == 0) return;
  std::string error;
  if (!removeBlocklistFrom(hosts, &error)) log(kLogWarning, "cannot clean hosts: " + error);
}

}  // namespace

std::string domainListUrl(const Settings& settings) {
  if (settings.updateServer.empty()) return kPublicDomainList;
  return serverUrl(settings.updateServer, "/api/v1/blocklist");
}

bool fetchDomainList(const std::string& url, std::vector<std::string>& domains, std::string* error,
                     const std::atomic<bool>* stopping) {
  std::string body;
  if (!httpGet(url, &body, error, stopping)) return false;
  appendDomains(std::move(body), domains);
  return true;
}

void runWebShield(const Settings& settings, const std::atomic<bool>* stopping) {
  runWebShieldOn(hostsFilePath(), settings, stopping);
}

void runWebShieldOn(const std::wstring& hosts, const Settings& settings, const std::atomic<bool>* stopping) {
  if (!settings.webShield) return cleanHosts(hosts);
  std::vector<std::string> domains;
  std::string error;
  if (!fetchDomainList(domainListUrl(settings), domains, &error, stopping)) {
    if (stopping != nullptr && stopping->load()) return;
    return log(kLogWarning, "domain feed failed: " + error);
  }
  if (!applyBlocklistTo(hosts, domains, &error)) return log(kLogError, "hosts update failed: " + error);
  log(kLogInfo, "blocked " + std::to_string(domains.size()) + " domains (" +
                    std::to_string(countBlockedEntriesIn(hosts)) + " hosts entries)");
}

}  // namespace korvel
