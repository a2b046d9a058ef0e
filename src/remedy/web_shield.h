// One run of the web shield: fetches the list of harmful domains and puts it into the hosts file, or takes
// the block out again when the shield is off. The engine decides when to run it.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "config/settings.h"

namespace korvel {

/// Fetches one list and appends its domains to `domains`: valid ones only, lower case, each once, in the
/// list's order. `stopping` as in httpGet(). Throws std::bad_alloc.
bool fetchDomainList(const std::string& url, std::vector<std::string>& domains, std::string* error,
                     const std::atomic<bool>* stopping = nullptr);

/// Where the list comes from: the update server, or the public list while none is configured; never both.
std::string domainListUrl(const Settings& settings);

/// One run with these settings. Every outcome goes to the log, except a run that `stopping` cut short. A list
/// that cannot be fetched leaves the hosts file as it is. Throws std::bad_alloc.
void runWebShield(const Settings& settings, const std::atomic<bool>* stopping = nullptr);

/// The same with the hosts file at `hosts`.
void runWebShieldOn(const std::wstring& hosts, const Settings& settings,
                    const std::atomic<bool>* stopping = nullptr);

}  // namespace korvel
