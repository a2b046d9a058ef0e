// Changes Windows Firewall: profiles, rules for programs, and the rules that block all inbound traffic.
//
// Every function takes its request as one UTF-8 text (see firewall_request.h) and returns false with a
// sentence for the user in `error` (may be null; emptied first). Nothing is rolled back: what was changed
// before a failure stays. `stop` ends a change that still looks for rules to remove: nothing is removed then,
// and `error` is "service is stopping". None throws, as long as there is memory for the sentence.
// Thread-safe, as each call uses its own COM objects, but concurrent calls may change the same rules.
#pragma once

#include <string>

#include "base/stop.h"

namespace korvel::fw {

/// "<profile>,<value>": switches the profile on ("1") or off ("0").
bool setProfileEnabled(const std::string& request, std::string* error);

/// "<action>|<direction>|<path>": blocks or allows a program. Rules of the same names are replaced.
bool addApplicationRule(const std::string& request, std::string* error, const StopToken& stop = {});

/// "1" blocks all inbound traffic with one rule per profile, replacing older ones; "0" removes these rules.
bool setBlockAllInbound(const std::string& request, std::string* error, const StopToken& stop = {});

/// Removes every rule of this product; true also when there is none.
bool removeKorvelRules(std::string* error, const StopToken& stop = {});

}  // namespace korvel::fw
