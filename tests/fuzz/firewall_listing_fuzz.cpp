// korvelctl's reader of the firewall listing, and what it shows of it: any text of a service.
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string_view>

#include "korvelctl/model/firewall_listing.h"
#include "korvelctl/render/firewall.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (const auto listing = korvel::ctl::parseFirewallListing(text)) {
    korvel::ctl::Look look;
    look.columns = size % 120;
    (void)korvel::ctl::renderFirewall(*listing, /*ownOnly=*/size % 2 == 0, look);
    (void)korvel::ctl::firewallJson(*listing, /*ownOnly=*/false)
        .dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  }
  return 0;
}
