// The state of Windows Firewall for people and for scripts. Pure and thread-safe.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "korvelctl/model/firewall_listing.h"
#include "korvelctl/render/look.h"

namespace korvel::ctl {

/// `ownOnly` leaves out the rules of others.
std::string renderFirewall(const FirewallListing& listing, bool ownOnly, const Look& look);
nlohmann::ordered_json firewallJson(const FirewallListing& listing, bool ownOnly);

}  // namespace korvel::ctl
