#include "korvelctl/render/rule_text.h"

#include <cstdio>
#include <vector>

#include "korvelctl/cli/words/check_words.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/texts.h"

namespace korvel::ctl {
namespace {

using Names = std::vector<std::string>;

const Names& namesOf(const RuleQuantity& quantity) {
  static const Names none;
  const Names* names = std::get_if<Names>(&quantity);
  return names == nullptr ? none : *names;
}

uint64_t numberOf(const RuleQuantity& quantity) {
  const uint64_t* number = std::get_if<uint64_t>(&quantity);
  return number == nullptr ? 0 : *number;
}

std::string joined(const Names& names) {
  std::string text;
  for (const std::string& name : names) {
    if (!text.empty()) text += ", ";
    text += printable(name);
  }
  return text;
}

/// Without zeros at the end: "6.91", "7.2".
std::string fractionText(const RuleQuantity& quantity, int digits, Language language) {
  const double* value = std::get_if<double>(&quantity);
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", digits, value == nullptr ? 0.0 : *value);
  std::string result = text;
  result.erase(result.find_last_not_of('0') + 1);
  if (result.ends_with('.')) result.pop_back();
  if (const size_t point = result.find('.'); point != std::string::npos && language == Language::kRussian)
    result[point] = ',';
  return result;
}

std::string entropyText(const RuleTerms& terms, Language language) {
  const std::string limit = fractionText(terms.limit, 2, language);
  std::string value = fractionText(terms.value, 2, language);
  if (value == limit)
    value = fractionText(terms.value, 6, language);  // a value just above it must not look equal
  return filled(words::kRuleEntropy, language, {value, limit});
}

std::string plainText(const RuleQuantity& quantity, Language language) {
  if (std::holds_alternative<uint64_t>(quantity)) return numberText(numberOf(quantity), language);
  if (std::holds_alternative<double>(quantity)) return fractionText(quantity, 6, language);
  const std::string names = joined(namesOf(quantity));
  return names.empty() ? "-" : names;
}

std::string impersonationText(const RuleCheck& rule, Language language) {
  const std::string name = joined(namesOf(rule.terms.value));
  if (rule.hit) return filled(words::kRuleImpersonate, language, {name, joined(namesOf(rule.terms.limit))});
  if (rule.terms.sparedBy.empty()) return filled(words::kRuleImpersonateNot, language, {name});
  return filled(words::kRuleImpersonateSpared, language, {name, printable(rule.terms.sparedBy)});
}

}  // namespace

std::string ruleText(const RuleCheck& rule, const Look& look) {
  const Language language = look.language;
  const RuleTerms& terms = rule.terms;
  const std::string names = joined(namesOf(terms.value));
  const auto either = [&](const Text& withNames, const Text& without) {
    return names.empty() ? std::string(without.in(language)) : filled(withNames, language, {names});
  };
  if (rule.code == "SIG.MATCH") {
    constexpr size_t kShownDigits = 16;  // the whole digest stands above
    if (names.empty()) return words::kRuleSignatureNone.in(language);
    return filled(words::kRuleSignature, language, {names.substr(0, kShownDigits) + "..."});
  }
  if (rule.code == "PE.PACKED")
    return filled(rule.hit ? words::kRulePacked : words::kRulePackedNot, language,
                  {names.empty() ? "-" : names});
  if (rule.code == "PE.HIGH_ENTROPY") return entropyText(terms, language);
  if (rule.code == "PE.RWX_SECTION") return either(words::kRuleRwx, words::kRuleRwxNot);
  if (rule.code == "PE.NO_IMPORTS") {
    if (!terms.sparedBy.empty()) return words::kRuleImportsSpared.in(language);
    return filled(words::kRuleImports, language, {numberText(numberOf(terms.value), language)});
  }
  if (rule.code == "PE.INJECTION_APIS") return either(words::kRuleApis, words::kRuleApisNot);
  if (rule.code == "PE.LARGE_OVERLAY")
    return filled(words::kRuleOverlay, language,
                  {bytesText(numberOf(terms.value), language), bytesText(numberOf(terms.limit), language)});
  if (rule.code == "PE.FUTURE_TIMESTAMP")
    return filled(words::kRuleTimestamp, language, {timeText(numberOf(terms.value), look)});
  if (rule.code == "FS.IMPERSONATE") return impersonationText(rule, language);
  if (rule.code == "FS.DOUBLE_EXT") return either(words::kRuleDouble, words::kRuleDoubleNone);
  if (rule.code == "FS.DOWNLOADED_EXE" && rule.hit) return filled(words::kRuleDownload, language, {names});
  if (rule.code == "FS.DOWNLOADED_EXE")
    return filled(words::kRuleDownloadNot, language, {joined(namesOf(terms.limit))});
  return filled(words::kRuleOther, language,
                {plainText(terms.value, language), plainText(terms.limit, language)});
}

}  // namespace korvel::ctl
