#include "korvelctl/render/shield.h"

#include <nlohmann/json.hpp>

#include "korvelctl/cli/words/shield_words.h"
#include "korvelctl/render/json_path.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/listing.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {

std::vector<std::string> shieldProblems(const ShieldReport& report, Language language) {
  const ShieldBlock& block = report.block;
  std::vector<std::string> problems;
  const auto add = [&](bool present, const Text& text, uint64_t number = 0) {
    if (present) problems.push_back(filled(text, language, {numberText(number, language)}));
  };
  add(report.enabled == true && block.entries == 0, words::kShieldOnWithoutBlock);
  add(report.enabled == false && block.present(), words::kShieldOffWithBlock);
  add(block.unclosed, words::kShieldUnclosed);
  add(block.blocks > 1, words::kShieldSeveral, block.blocks);
  add(block.foreign > 0, words::kShieldForeign, block.foreign);
  add(block.leftBehind > 0, words::kShieldLeftBehind, block.leftBehind);
  add(block.duplicates > 0, words::kShieldDuplicates, block.duplicates);
  add(block.lines > kManyHostsLines, words::kShieldMany, block.lines);
  return problems;
}

Json shieldJson(const ShieldReport& report) {
  const ShieldBlock& block = report.block;
  Json json = Json::object();
  json["enabled"] = report.enabled ? Json(*report.enabled) : Json();
  putPath(json, "file", report.file);
  json.update(Json{{"bytes", jsonNumber(report.bytes)},
                   {"written_utc", jsonTime(report.writtenUtc)},
                   {"lines", block.lines},
                   {"blocks", block.blocks},
                   {"unclosed", block.unclosed},
                   {"entries", block.entries},
                   {"domains", block.domains},
                   {"duplicates", block.duplicates},
                   {"foreign", block.foreign},
                   {"foreign_lines", block.foreignLines},
                   {"left_behind", block.leftBehind},
                   {"user_lines", block.userLines}});
  return json;
}

std::string renderShield(const ShieldReport& report, const Look& look) {
  const Language language = look.language;
  const ShieldBlock& block = report.block;
  Facts facts;
  facts.add(words::kShieldSetting.in(language),
            report.enabled ? onOffText(*report.enabled, language) : words::kShieldUnknown.in(language));
  facts.add(words::kShieldFile.in(language), printable(report.file) + ", " +
                                                 bytesText(report.bytes, language) + ", " +
                                                 countText(block.lines, words::kHostsLines, language));
  std::string blockText = words::kShieldNoBlock.in(language);
  if (block.present()) {
    const uint64_t age = report.now > report.writtenUtc ? report.now - report.writtenUtc : 0;
    blockText = filled(words::kShieldBlockText, language,
                       {countText(block.entries, words::kEntries, language),
                        countText(block.domains, words::kDomains, language),
                        filled(words::kShieldAgo, language, {ageText(age, language)})});
  }
  facts.add(words::kShieldBlock.in(language), blockText);
  facts.add(words::kShieldUserLines.in(language),
            filled(words::kShieldUserLinesText, language,
                   {countText(block.userLines, words::kHostsLines, language)}));
  for (const std::string& problem : shieldProblems(report, language))
    facts.add(words::kShieldProblem.in(language), problem);
  std::string text = facts.text(look);
  for (const std::string& line : block.foreignLines) text += "    " + printable(line) + "\n";
  return text;
}

}  // namespace korvel::ctl
