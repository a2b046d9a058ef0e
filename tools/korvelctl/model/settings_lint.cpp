#include "korvelctl/model/settings_lint.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <stdexcept>

#include "base/text.h"
#include "config/settings_text.h"
#include "records/settings_keys.h"

namespace korvel::ctl {
namespace {

constexpr std::string_view kBlanks = " \t\r\v\f";
constexpr std::string_view kMark = "\xEF\xBB\xBF";
constexpr char kHeaderLine[] = "# Korvel Antivirus settings\n";

struct RuleRow {
  const char* name;
  LintRule rule;
  LintLevel level;
};
constexpr RuleRow kRules[] = {
    {"hour", LintRule::kBadHour, LintLevel::kError},
    {"carriage_return", LintRule::kCarriageReturn, LintLevel::kWarning},
    {"byte_order_mark", LintRule::kByteOrderMark, LintLevel::kWarning},
    {"nul", LintRule::kNul, LintLevel::kWarning},
    {"unknown_key", LintRule::kUnknownKey, LintLevel::kWarning},
    {"key_spelling", LintRule::kKeySpelling, LintLevel::kWarning},
    {"duplicate_key", LintRule::kDuplicateKey, LintLevel::kWarning},
    {"boolean", LintRule::kBoolean, LintLevel::kWarning},
    {"hour_wraps", LintRule::kHourWraps, LintLevel::kWarning},
    {"number", LintRule::kNumber, LintLevel::kWarning},
    {"value_blanks", LintRule::kValueBlanks, LintLevel::kWarning},
    {"empty_path", LintRule::kEmptyPath, LintLevel::kWarning},
    {"relative_path", LintRule::kRelativePath, LintLevel::kWarning},
    {"server_scheme", LintRule::kServerScheme, LintLevel::kWarning},
    {"comment", LintRule::kComment, LintLevel::kNote},
};

const RuleRow& rowOf(LintRule rule) {
  return *std::find_if(std::begin(kRules), std::end(kRules),
                       [rule](const RuleRow& row) { return row.rule == rule; });
}

struct Line {
  size_t number = 0;
  std::string_view text;  // without its LF
  size_t equals = std::string_view::npos;
  std::string_view key() const { return text.substr(0, equals); }
  std::string_view value() const { return text.substr(equals + 1); }
};

std::vector<Line> linesOf(std::string_view text) {
  std::vector<Line> lines;
  LineReader reader(text);
  for (std::string_view line; reader.next(line);) lines.push_back({lines.size() + 1, line, line.find('=')});
  return lines;
}

const SettingKey* exactKey(std::string_view key) {
  for (const SettingKey& setting : kSettingKeys) {
    if (setting.key == key) return &setting;
  }
  return nullptr;
}

std::string_view bareKey(std::string_view key) {
  if (key.starts_with(kMark)) key.remove_prefix(kMark.size());
  return trimmed(key, kBlanks);
}

/// The key that differs only in case, blanks and a byte-order mark.
const SettingKey* meantKey(std::string_view key) {
  const std::string lower = lowerAscii(bareKey(key));
  for (const SettingKey& setting : kSettingKeys) {
    if (lowerAscii(setting.key) == lower) return &setting;
  }
  return nullptr;
}

size_t editDistance(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, replaced});
    }
  }
  return row[b.size()];
}

/// A key that was probably mistyped so; empty without one.
std::string similarKey(std::string_view key) {
  constexpr size_t kLongestTypo = 40;
  const std::string lower = lowerAscii(bareKey(key));
  if (lower.size() > kLongestTypo) return {};
  for (const SettingKey& setting : kSettingKeys) {
    if (editDistance(lower, lowerAscii(setting.key)) <= 2) return std::string(setting.key);
  }
  return {};
}

/// How the service reads `value` for this key; nothing where it refuses to start.
std::optional<std::string> readBySettings(const SettingKey& setting, std::string_view value) {
  SettingsFields settings;
  try {
    parseSettingsText(std::string(setting.key) + "=" + std::string(value), settings);
  } catch (const std::logic_error&) {  // what the reader throws of a number
    return std::nullopt;
  }
  return settingValueText(settings, setting.field);
}

bool isPlainNumber(std::string_view value) {
  return !value.empty() && value.find_first_not_of("0123456789") == std::string_view::npos;
}

/// What is wrong with the value of a setting, by the kind of its field.
struct ValueLint {
  std::string_view value;  // without a CR at its end, which is reported for all lines together
  std::string readAs;      // of that value

  using Found = std::vector<LintRule>;
  Found operator()(bool SettingsFields::*) const {
    static constexpr std::array<std::string_view, 4> kPlain = {"1", "true", "0", "false"};
    const bool plain = std::find(kPlain.begin(), kPlain.end(), value) != kPlain.end();
    return plain ? Found{} : Found{LintRule::kBoolean};
  }
  Found operator()(uint32_t SettingsFields::*) const {
    return isSameNumber() ? Found{} : Found{LintRule::kHourWraps};
  }
  Found operator()(uint64_t SettingsFields::*) const {
    return isSameNumber() ? Found{} : Found{LintRule::kNumber};
  }
  Found operator()(std::string SettingsFields::*) const {
    Found found = blanks();
    const std::string lower = lowerAscii(trimmed(value, kBlanks));
    if (!lower.empty() && !lower.starts_with("http://") && !lower.starts_with("https://"))
      found.push_back(LintRule::kServerScheme);
    return found;
  }
  Found operator()(std::wstring SettingsFields::*) const {
    if (trimmed(value, kBlanks).empty()) return {LintRule::kEmptyPath};
    Found found = blanks();
    const std::string_view path = trimmed(value, kBlanks);
    const bool drive = path.size() > 2 && path[1] == ':' && (path[2] == '\\' || path[2] == '/');
    if (!drive && !path.starts_with("\\\\") && !path.starts_with("//"))
      found.push_back(LintRule::kRelativePath);
    return found;
  }

 private:
  bool isSameNumber() const {
    return isPlainNumber(value) && parseUnsigned(std::string(value)) == parseUnsigned(readAs);
  }
  Found blanks() const { return trimmed(value, kBlanks) == value ? Found{} : Found{LintRule::kValueBlanks}; }
};

class Linter {
 public:
  explicit Linter(std::string_view text) : lines_(linesOf(text)) {
    for (const Line& line : lines_) {
      if (line.equals == std::string_view::npos) continue;
      if (const SettingKey* setting = exactKey(line.key())) lastLineOf_[setting->key] = line.number;
    }
  }

  std::vector<LintFinding> run() {
    if (!lines_.empty() && lines_[0].text.starts_with(kMark))
      add(LintRule::kByteOrderMark, lines_[0], {}, {});
    countLines(LintRule::kCarriageReturn, [](std::string_view line) { return line.ends_with('\r'); });
    countLines(LintRule::kNul, [](std::string_view line) { return line.find('\0') != line.npos; });
    for (const Line& line : lines_) lintLine(line);
    std::stable_sort(findings_.begin(), findings_.end(),
                     [](const LintFinding& a, const LintFinding& b) { return a.line < b.line; });
    return std::move(findings_);
  }

 private:
  LintFinding& add(LintRule rule, const Line& line, std::string_view key, std::string_view value) {
    return findings_.emplace_back(LintFinding{.rule = rule,
                                              .line = line.number,
                                              .key = std::string(key),
                                              .value = std::string(value),
                                              .meant = {},
                                              .readAs = {},
                                              .times = 1});
  }

  template <typename Matches>
  void countLines(LintRule rule, const Matches& matches) {
    LintFinding* first = nullptr;
    for (const Line& line : lines_) {
      if (!matches(line.text)) continue;
      if (first != nullptr) ++first->times;
      if (first == nullptr) first = &add(rule, line, {}, {});
    }
  }

  void lintLine(const Line& line) {
    if (line.equals == std::string_view::npos) {
      const std::string_view text = trimmed(line.text, kBlanks);
      const bool header = line.number == 1 && text.ends_with("# Korvel Antivirus settings");
      if (!text.empty() && !header) add(LintRule::kComment, line, {}, text);
      return;
    }
    const SettingKey* setting = exactKey(line.key());
    if (setting == nullptr) return lintKey(line);
    if (lastLineOf_.at(setting->key) != line.number) {
      add(LintRule::kDuplicateKey, line, line.key(), line.value());
      return;
    }
    lintValue(*setting, line);
  }

  /// The service ignores such a line, whatever its value.
  void lintKey(const Line& line) {
    if (line.key().starts_with(kMark) && exactKey(line.key().substr(kMark.size())) != nullptr) return;
    const SettingKey* meant = meantKey(line.key());
    LintFinding& finding = add(meant != nullptr ? LintRule::kKeySpelling : LintRule::kUnknownKey, line,
                               line.key(), line.value());
    finding.meant = meant != nullptr ? std::string(meant->key) : similarKey(line.key());
  }

  void lintValue(const SettingKey& setting, const Line& line) {
    const std::optional<std::string> asItStands = readBySettings(setting, line.value());
    if (!asItStands) {
      add(LintRule::kBadHour, line, line.key(), line.value());
      return;
    }
    std::string_view value = line.value();
    if (value.ends_with('\r')) value.remove_suffix(1);
    const std::string readAs = readBySettings(setting, value).value_or("");
    for (const LintRule rule : std::visit(ValueLint{value, readAs}, setting.field))
      add(rule, line, line.key(), line.value()).readAs = *asItStands;
  }

  const std::vector<Line> lines_;
  std::map<std::string_view, size_t> lastLineOf_;  // by key; the last one counts
  std::vector<LintFinding> findings_;
};

/// The value as it was probably meant; nothing for one that says nothing.
struct MeantValue {
  const SettingKey& setting;
  std::string_view value;  // trimmed

  std::optional<std::string> operator()(bool SettingsFields::*) const {
    const std::string lower = lowerAscii(value);
    for (const char* yes : {"1", "true", "yes", "on"}) {
      if (lower == yes) return "1";
    }
    for (const char* no : {"0", "false", "no", "off"}) {
      if (lower == no) return "0";
    }
    return std::nullopt;
  }
  std::optional<std::string> operator()(uint32_t SettingsFields::*) const {
    return readBySettings(setting, value);
  }
  std::optional<std::string> operator()(uint64_t SettingsFields::*) const {
    return readBySettings(setting, value);
  }
  std::optional<std::string> operator()(std::string SettingsFields::*) const { return std::string(value); }
  std::optional<std::string> operator()(std::wstring SettingsFields::*) const {
    return value.empty() ? std::nullopt : std::optional<std::string>(value);
  }
};

}  // namespace

const char* lintRuleName(LintRule rule) { return rowOf(rule).name; }
LintLevel lintLevel(LintRule rule) { return rowOf(rule).level; }

const char* lintLevelName(LintLevel level) {
  switch (level) {
    case LintLevel::kError:
      return "error";
    case LintLevel::kWarning:
      return "warning";
    case LintLevel::kNote:
      break;
  }
  return "note";
}

std::vector<LintFinding> lintSettings(std::string_view text) { return Linter(text).run(); }

bool hasLintFindings(const std::vector<LintFinding>& findings) {
  return std::any_of(findings.begin(), findings.end(),
                     [](const LintFinding& finding) { return lintLevel(finding.rule) != LintLevel::kNote; });
}

std::string fixedSettings(std::string_view text) {
  std::array<std::optional<std::string>, std::size(kSettingKeys)> values;
  std::string plain(text);
  std::erase(plain, '\0');  // what is left of a text in UTF-16
  for (const Line& line : linesOf(plain)) {
    if (line.equals == std::string_view::npos) continue;
    const SettingKey* setting = meantKey(line.key());
    if (setting == nullptr) continue;
    std::optional<std::string>& place = values[static_cast<size_t>(setting - std::begin(kSettingKeys))];
    // The last occurrence counts, as for the service; one that says nothing does not undo an earlier one.
    if (auto meant = std::visit(MeantValue{*setting, trimmed(line.value(), kBlanks)}, setting->field))
      place = std::move(meant);
  }
  std::string fixed = kHeaderLine;
  for (size_t i = 0; i < values.size(); ++i) {
    if (values[i]) fixed.append(kSettingKeys[i].key).append("=").append(*values[i]).append("\n");
  }
  return fixed;
}

}  // namespace korvel::ctl
