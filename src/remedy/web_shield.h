// One run of the web shield: fetches the list of harmful domains and puts it into the hosts file, or takes
// the block out again when the shield is off. The engine decides when to run it.
#pragma once

#include <string>

#include "base/stop.h"
#include "records/settings_fields.h"
#include "remedy/blocklist_text.h"

namespace korvel {

/// Fetches one list into `list`, which a failure leaves as it is. Never holds the whole text. `stop` as in
/// httpGet(). Throws std::bad_alloc.
bool fetchDomainList(const std::string& url, DomainList& list, std::string* error,
                     const StopToken& stop = {});

/// Where the list comes from: the update server, or the public list while none is configured; never both.
std::string domainListUrl(const SettingsFields& settings);

/// One run with these settings. Every outcome goes to the log, except a run that `stop` cut short. A list
/// that cannot be fetched leaves the hosts file as it is. Throws std::bad_alloc.
void runWebShield(const SettingsFields& settings, const StopToken& stop = {});

/// The same with the hosts file at `hosts`.
void runWebShieldOn(const std::wstring& hosts, const SettingsFields& settings, const StopToken& stop = {});

}  // namespace korvel
