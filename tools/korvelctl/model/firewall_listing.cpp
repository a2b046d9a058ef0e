#include "korvelctl/model/firewall_listing.h"

#include "base/text.h"
#include "base/utf.h"
#include "base/version.h"

namespace korvel::ctl {
namespace {

using Fields = std::vector<std::string>;

/// Splits at commas without a backslash before them; "\," is a comma of the field.
Fields fieldsOf(std::string_view line) {
  Fields fields(1);
  for (size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '\\' && i + 1 < line.size() && line[i + 1] == ',') {
      fields.back() += ',';
      ++i;
    } else if (line[i] == ',') {
      fields.emplace_back();
    } else {
      fields.back() += line[i];
    }
  }
  return fields;
}

std::optional<bool> switchOf(const std::string& word) {
  if (word == "on") return true;
  if (word == "off") return false;
  return std::nullopt;
}

bool addProfile(const Fields& fields, FirewallListing& listing) {
  if (fields.size() != 3) return false;
  const std::optional<bool> on = switchOf(fields[2]);
  if (on) listing.profiles.push_back({fields[1], *on});
  return on.has_value();
}

bool addRule(const Fields& fields, FirewallListing& listing) {
  if (fields.size() != 6 && fields.size() != 5) return false;
  const std::optional<bool> enabled = switchOf(fields[1]);
  if (!enabled) return false;
  listing.rules.push_back(
      {*enabled, fields[2], fields[3], fields[4], fields.size() == 6 ? fields[5] : std::string()});
  return true;
}

bool addLine(std::string_view line, FirewallListing& listing) {
  const Fields fields = fieldsOf(line);
  if (fields[0] == "prof") return addProfile(fields, listing);
  if (fields[0] == "rule") return addRule(fields, listing);
  if (fields[0] == "blockin" && fields.size() == 2) {
    listing.inboundBlocked = switchOf(fields[1]);
    return listing.inboundBlocked.has_value();
  }
  if (fields[0] != "error" || fields.size() != 2) return false;
  listing.errors.push_back(fields[1]);
  return true;
}

}  // namespace

bool FirewallRuleLine::own() const {
  const std::wstring prefix = lowerWide(kFirewallRulePrefix);
  return lowerWide(toWide(name)).starts_with(prefix);
}

std::optional<FirewallListing> parseFirewallListing(std::string_view text) {
  FirewallListing listing;
  LineReader lines(text);
  for (std::string_view line; lines.next(line);) {
    if (!addLine(line, listing)) return std::nullopt;
  }
  return listing;
}

}  // namespace korvel::ctl
