#include "korvelctl/model/firewall_file.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/error.h"
#include "korvelctl/cli/words/firewall_file_words.h"
#include "korvelctl/render/json_text.h"

namespace korvel::ctl {
namespace {

constexpr std::string_view kSchema = "korvel.firewall-rules/1";

/// "C:\..." or "\\server\...".
bool isAbsolute(std::string_view path) {
  const bool drive = path.size() > 3 && path[1] == ':' && (path[2] == '\\' || path[2] == '/') &&
                     ((path[0] >= 'A' && path[0] <= 'Z') || (path[0] >= 'a' && path[0] <= 'z'));
  return drive || (path.size() > 2 && path.starts_with("\\\\"));
}

bool hasControlCharacter(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; });
}

/// Reads one file. Each function gives false with the sentence stored.
class Reader {
 public:
  Reader(Language language, std::string* error) : language_(language), error_(error) {}

  bool read(std::string_view text, FirewallFile& file) {
    const Json json = Json::parse(text, /*callback=*/nullptr, /*allow_exceptions=*/false);
    if (json.is_discarded() || !json.is_object()) return wrong(words::kNotJson);
    std::string schema;
    if (!onlyMembers(json, {"schema", "inbound_blocked", "rules"}) || !string(json, "schema", schema))
      return false;
    if (schema != kSchema) return wrong(words::kWrongSchema, {kSchema});
    if (json.contains("inbound_blocked") && !json["inbound_blocked"].is_null()) {
      if (!json["inbound_blocked"].is_boolean()) return wrong(words::kMemberMissing, {"inbound_blocked"});
      file.inboundBlocked = json["inbound_blocked"].get<bool>();
    }
    if (!json.contains("rules") || !json["rules"].is_array()) return wrong(words::kMemberMissing, {"rules"});
    for (const Json& rule : json["rules"]) {
      if (!readRule(rule, file)) return false;
    }
    return true;
  }

 private:
  bool wrong(const Text& text, std::initializer_list<std::string_view> values = {}) {
    return fail(error_, filled(text, language_, values));
  }

  bool onlyMembers(const Json& json, std::initializer_list<std::string_view> known) {
    for (const auto& [name, value] : json.items()) {
      if (std::find(known.begin(), known.end(), name) == known.end())
        return wrong(words::kUnknownMember, {name});
    }
    return true;
  }

  bool string(const Json& json, const char* name, std::string& value) {
    if (!json.contains(name) || !json[name].is_string()) return wrong(words::kMemberMissing, {name});
    value = json[name].get<std::string>();
    return true;
  }

  bool oneOf(const char* name, const std::string& value, std::initializer_list<std::string_view> known) {
    if (std::find(known.begin(), known.end(), value) != known.end()) return true;
    return wrong(words::kWrongWord, {name, value});
  }

  bool readRule(const Json& json, FirewallFile& file) {
    if (!json.is_object()) return wrong(words::kMemberMissing, {"rules"});
    FirewallProgramRule rule;
    if (!onlyMembers(json, {"action", "direction", "program"}) || !string(json, "action", rule.action) ||
        !string(json, "direction", rule.direction) || !string(json, "program", rule.program) ||
        !oneOf("action", rule.action, {"block", "allow"}) ||
        !oneOf("direction", rule.direction, {"in", "out", "both"})) {
      return false;
    }
    if (!isAbsolute(rule.program) || hasControlCharacter(rule.program))
      return wrong(words::kNotAbsolute, {rule.program});
    file.rules.push_back(std::move(rule));
    return true;
  }

  const Language language_;
  std::string* const error_;
};

}  // namespace

FirewallFile firewallFileOf(const FirewallListing& listing, size_t& leftOut) {
  FirewallFile file;
  file.inboundBlocked = listing.inboundBlocked;
  leftOut = 0;
  for (const FirewallRuleLine& line : listing.rules) {
    if (!line.own() || line.application.empty()) continue;
    if (!line.enabled) {
      ++leftOut;
      continue;
    }
    const auto other =
        std::find_if(file.rules.begin(), file.rules.end(), [&line](const FirewallProgramRule& rule) {
          return rule.program == line.application && rule.action == line.action &&
                 rule.direction != line.direction;
        });
    if (other != file.rules.end()) {
      other->direction = "both";
    } else {
      file.rules.push_back({line.action, line.direction, line.application});
    }
  }
  return file;
}

std::string formatFirewallFile(const FirewallFile& file) {
  Json rules = Json::array();
  for (const FirewallProgramRule& rule : file.rules)
    rules.push_back({{"action", rule.action}, {"direction", rule.direction}, {"program", rule.program}});
  return jsonText({{"schema", kSchema},
                   {"inbound_blocked", file.inboundBlocked ? Json(*file.inboundBlocked) : Json()},
                   {"rules", std::move(rules)}});
}

std::optional<FirewallFile> parseFirewallFile(std::string_view text, Language language, std::string* error) {
  FirewallFile file;
  if (!Reader(language, error).read(text, file)) return std::nullopt;
  return file;
}

}  // namespace korvel::ctl
