#include "korvelctl/render/lint.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/text.h"
#include "base/utf.h"
#include "korvelctl/cli/words/lint_words.h"
#include "korvelctl/render/json_path.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/listing.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/texts.h"
#include "korvelctl/render/wrap.h"

namespace korvel::ctl {
namespace {

/// The value without the blanks and the CR that other findings speak of.
std::string shownValue(const LintFinding& finding) { return printable(trimmed(finding.value, " \t\r\v\f")); }

std::string levelText(LintLevel level, Language language) {
  switch (level) {
    case LintLevel::kError:
      return words::kLevelError.in(language);
    case LintLevel::kWarning:
      return words::kLevelWarning.in(language);
    case LintLevel::kNote:
      break;
  }
  return words::kLevelNote.in(language);
}

Severity colorOf(LintLevel level) {
  if (level == LintLevel::kError) return kSeverityHigh;
  return level == LintLevel::kWarning ? kSeverityMedium : kSeverityClean;
}

size_t countOf(const std::vector<LintFinding>& findings, LintLevel level) {
  return static_cast<size_t>(
      std::count_if(findings.begin(), findings.end(),
                    [level](const LintFinding& finding) { return lintLevel(finding.rule) == level; }));
}

}  // namespace

std::string lintText(const LintFinding& finding, Language language) {
  const std::string value = shownValue(finding);
  const auto say = [language](const Text& text, std::initializer_list<std::string_view> values = {}) {
    return filled(text, language, values);
  };
  switch (finding.rule) {
    case LintRule::kBadHour:
      return say(finding.value.ends_with('\r') ? words::kLintBadHourWithReturn : words::kLintBadHour,
                 {value});
    case LintRule::kCarriageReturn:
      return say(words::kLintCarriageReturn, {countText(finding.times, words::kLines, language)});
    case LintRule::kByteOrderMark:
      return say(words::kLintByteOrderMark);
    case LintRule::kNul:
      return say(words::kLintNul, {countText(finding.times, words::kLines, language)});
    case LintRule::kUnknownKey:
      return finding.meant.empty() ? say(words::kLintUnknownKey)
                                   : say(words::kLintUnknownKeyMeant, {finding.meant});
    case LintRule::kKeySpelling:
      return say(words::kLintKeySpelling, {finding.meant});
    case LintRule::kDuplicateKey:
      return say(words::kLintDuplicate);
    case LintRule::kBoolean:
      return say(words::kLintBoolean, {value, finding.readAs});
    case LintRule::kHourWraps:
      return say(words::kLintHour, {value, finding.readAs});
    case LintRule::kNumber:
      return say(words::kLintNumber, {value, finding.readAs});
    case LintRule::kValueBlanks:
      return say(words::kLintValueBlanks, {printable(finding.value)});
    case LintRule::kEmptyPath:
      return say(words::kLintEmptyPath);
    case LintRule::kRelativePath:
      return say(words::kLintRelativePath, {value});
    case LintRule::kServerScheme:
      return say(words::kLintServerScheme, {value});
    case LintRule::kComment:
      break;
  }
  return say(words::kLintComment);
}

Json lintJson(const std::vector<LintFinding>& findings, const std::wstring& file, size_t lines) {
  Json list = Json::array();
  for (const LintFinding& finding : findings) {
    list.push_back({{"id", lintRuleName(finding.rule)},
                    {"level", lintLevelName(lintLevel(finding.rule))},
                    {"line", finding.line},
                    {"key", finding.key},
                    {"value", finding.value},
                    {"meant", finding.meant},
                    {"read_as", finding.readAs},
                    {"times", finding.times}});
  }
  Json json = Json::object();
  putPath(json, "file", file);
  json.update(Json{{"lines", lines},
                   {"errors_found", countOf(findings, LintLevel::kError)},
                   {"warnings_found", countOf(findings, LintLevel::kWarning)},
                   {"findings", std::move(list)}});
  return json;
}

std::string renderLint(const std::vector<LintFinding>& findings, const std::wstring& file, size_t lines,
                       const Look& look) {
  const Language language = look.language;
  Listing listing({{"line", words::kLintLine, Listing::Kind::kNumber},
                   {"level", words::kLintLevel},
                   {"key", words::kLintSetting}});
  std::string text;
  for (const LintFinding& finding : findings) {
    const LintLevel level = lintLevel(finding.rule);
    Listing::Cell cell(levelText(level, language), lintLevelName(level));
    cell.severity = colorOf(level);
    std::string key = printable(finding.rule == LintRule::kComment ? finding.value : finding.key);
    if (trimmed(key, " ") != key) key.insert(0, 1, '\'').push_back('\'');
    listing.addRow({std::to_string(finding.line), std::move(cell), key});
    listing.addNote(lintText(finding, language));
  }
  text = listing.text(look);
  if (look.mode == OutputMode::kCsv) return text;
  const std::string name = printable(file);
  if (findings.empty())
    return wrapped(filled(words::kLintClean, language, {name, countText(lines, words::kLines, language)}),
                   look.columns);
  text += "\n" + wrapped(filled(words::kLintSummary, language,
                                {name, std::to_string(countOf(findings, LintLevel::kError)),
                                 std::to_string(countOf(findings, LintLevel::kWarning)),
                                 std::to_string(countOf(findings, LintLevel::kNote))}),
                         look.columns);
  if (hasLintFindings(findings)) text += wrapped(words::kLintNext.in(language), look.columns);
  return text;
}

}  // namespace korvel::ctl
