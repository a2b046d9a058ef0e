#include "korvelctl/render/firewall.h"

#include <nlohmann/json.hpp>

#include "korvelctl/cli/words/firewall_words.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/listing.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {

std::string renderFirewall(const FirewallListing& listing, bool ownOnly, const Look& look) {
  const Language language = look.language;
  Listing rules({{"state", words::kRuleState},
                 {"action", words::kRuleAction},
                 {"direction", words::kRuleDirection},
                 {"name", words::kRuleName},
                 {"program", words::kRuleProgram, Listing::Kind::kPath}});
  for (const FirewallRuleLine& rule : listing.rules) {
    if (ownOnly && !rule.own()) continue;
    rules.addRow({{onOffText(rule.enabled, language), rule.enabled ? "on" : "off"},
                  printable(rule.action),
                  printable(rule.direction),
                  printable(rule.name),
                  printable(rule.application)});
  }
  if (look.mode == OutputMode::kCsv) return rules.text(look);
  Facts facts;
  for (const FirewallProfileLine& profile : listing.profiles)
    facts.add(filled(words::kProfile, language, {printable(profile.name)}), onOffText(profile.on, language));
  if (listing.inboundBlocked) {
    facts.add(words::kInbound.in(language),
              (*listing.inboundBlocked ? words::kInboundBlocked : words::kInboundOpen).in(language));
  }
  std::string text = facts.text(look);
  if (!listing.inboundBlocked) return text;
  if (rules.empty()) return text + (ownOnly ? words::kNoOwnRules : words::kNoRules).in(language) + "\n";
  return text + "\n" + rules.text(look);
}

nlohmann::ordered_json firewallJson(const FirewallListing& listing, bool ownOnly) {
  Json profiles = Json::object();
  for (const FirewallProfileLine& profile : listing.profiles) profiles[profile.name] = profile.on;
  Json rules = Json::array();
  for (const FirewallRuleLine& rule : listing.rules) {
    if (ownOnly && !rule.own()) continue;
    rules.push_back(Json{{"name", rule.name},
                         {"application", rule.application},
                         {"enabled", rule.enabled},
                         {"action", rule.action},
                         {"direction", rule.direction},
                         {"own", rule.own()}});
  }
  return Json{{"profiles", std::move(profiles)},
              {"inbound_blocked", listing.inboundBlocked ? Json(*listing.inboundBlocked) : Json()},
              {"rules", std::move(rules)}};
}

}  // namespace korvel::ctl
