#include "korvelctl/render/check.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/paths.h"
#include "base/utf.h"
#include "korvelctl/cli/words/check_words.h"
#include "korvelctl/render/json_path.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/listing.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/rule_text.h"
#include "korvelctl/render/texts.h"
#include "korvelctl/render/wrap.h"

namespace korvel::ctl {
namespace {

struct QuantityJson {
  Json operator()(std::monostate) const { return nullptr; }
  Json operator()(uint64_t number) const { return jsonNumber(number); }
  Json operator()(double number) const { return number; }
  Json operator()(const std::vector<std::string>& names) const { return names; }
};

Json ruleJson(const RuleCheck& rule) {
  Json json{{"code", rule.code},
            {"hit", rule.hit},
            {"value", std::visit(QuantityJson{}, rule.terms.value)},
            {"limit", std::visit(QuantityJson{}, rule.terms.limit)}};
  if (rule.hit) json["severity"] = severityName(rule.severity);
  if (!rule.terms.sparedBy.empty()) json["spared_by"] = rule.terms.sparedBy;
  return json;
}

Json databaseJson(const CheckedFile& file) {
  const FileVerdict& verdict = file.verdict;
  Json json{
      {"md5_listed", file.md5Listed}, {"sha1_listed", file.sha1Listed}, {"sha256_listed", file.sha256Listed}};
  if (!verdict.signatureMatched) {
    json["match"] = nullptr;
    return json;
  }
  json["match"] = {{"name", verdict.threatName},
                   {"family", verdict.family},
                   {"severity", severityName(verdict.threatSeverity)},
                   {"reference", verdict.reference},
                   {"digest", verdict.matchedHash}};
  return json;
}

bool isMissing(const CheckedFile& file) { return file.trace.reading == FileReading::kMissing; }
bool inScope(const CheckedFile& file) { return file.scope == WalkScope::kReached && !isMissing(file); }
std::string scopeReason(const CheckedFile& file) {
  return isMissing(file) ? "missing" : std::string(walkScopeName(file.scope));
}

Json fileJson(const CheckedFile& file) {
  const FileVerdict& verdict = file.verdict;
  Json json = Json::object();
  putPath(json, "path", verdict.path);
  json["in_scope"] = inScope(file);
  json["scope_reason"] = scopeReason(file);
  if (file.scope == WalkScope::kExcludedFolder) putPath(json, "scope_folder", excludedFolderOf(verdict.path));
  json.update(Json{{"size", jsonNumber(verdict.size)},
                   {"md5", verdict.md5},
                   {"sha1", verdict.sha1},
                   {"sha256", verdict.sha256},
                   {"severity", severityName(verdict.severity)}});
  Json findings = Json::array();
  for (const Finding& finding : verdict.findings) {
    findings.push_back({{"severity", severityName(finding.severity)},
                        {"code", finding.code},
                        {"title", finding.title},
                        {"detail", finding.detail}});
  }
  json["findings"] = std::move(findings);
  json["rules"] = Json::array();
  for (const RuleCheck& rule : file.trace.rules) json["rules"].push_back(ruleJson(rule));
  json["database"] = databaseJson(file);
  json["examined"] = file.examined();
  json["not_examined_reason"] = fileReadingName(file.trace.reading);
  return json;
}

std::string scopeText(const CheckedFile& file, Language language) {
  const std::wstring& path = file.verdict.path;
  const auto because = [language](const std::string& why) {
    return filled(words::kScopeNo, language, {why});
  };
  switch (file.scope) {
    case WalkScope::kReached:
      return words::kScopeYes.in(language);
    case WalkScope::kShortPath:
      return because(words::kScopeShortPath.in(language));
    case WalkScope::kRecycleBin:
      return because(words::kScopeRecycleBin.in(language));
    case WalkScope::kNoName:
      return because(words::kScopeNoName.in(language));
    case WalkScope::kSystemDataFile:
      return because(words::kScopeSystemData.in(language));
    case WalkScope::kKernelFile:
      return because(words::kScopeKernel.in(language));
    case WalkScope::kNoExtension:
      return because(words::kScopeNoExtension.in(language));
    case WalkScope::kOtherExtension: {
      const std::wstring_view name = fileNameView(path);
      const std::wstring_view extension = name.substr(std::min(name.rfind(L'.'), name.size()));
      return because(filled(words::kScopeExtension, language, {printable(extension)}));
    }
    case WalkScope::kExcludedFolder:
      return because(filled(words::kScopeExcluded, language, {printable(excludedFolderOf(path))}));
    case WalkScope::kLink:
      return because(words::kScopeLink.in(language));
    case WalkScope::kBehindLink:
      break;
  }
  return because(words::kScopeBehindLink.in(language));
}

std::string verdictText(const CheckedFile& file, const Look& look) {
  const FileVerdict& verdict = file.verdict;
  std::string text;
  if (!file.examined()) {
    text = std::string(words::kVerdictNotExamined.in(look.language)) + ": " +
           readingText(file.trace.reading, look.language);
    if (file.trace.win32 != 0) text += " (win32=" + std::to_string(file.trace.win32) + ")";
  }
  if (verdict.severity == kSeverityClean && verdict.findings.empty())
    return file.examined() ? words::kVerdictNothing.in(look.language) : text;
  const std::string severity =
      filled(words::kVerdictSeverity, look.language,
             {colored(severityText(verdict.severity, look.language), verdict.severity, look)});
  return text.empty() ? severity : severity + "; " + text;
}

/// "  SHA-256 <digest>  not listed" for each digest that was computed.
std::string digestLines(const CheckedFile& file, bool databaseLoaded, Language language) {
  const auto line = [&](const char* name, const std::string& digest, bool listed) {
    if (digest.empty()) return std::string();
    const Text& answer = !databaseLoaded ? words::kNoDatabaseLoaded
                         : listed        ? words::kListed
                                         : words::kNotListed;
    return std::string("  ") + name + "  " + digest + "  " + answer.in(language) + "\n";
  };
  const FileVerdict& verdict = file.verdict;
  std::string text = line("SHA-256", verdict.sha256, file.sha256Listed) +
                     line("SHA-1  ", verdict.sha1, file.sha1Listed) +
                     line("MD5    ", verdict.md5, file.md5Listed);
  if (verdict.signatureMatched)
    text += "  " +
            filled(words::kListedAs, language,
                   {printable(verdict.threatName), severityText(verdict.threatSeverity, language)}) +
            "\n";
  return text;
}

std::string ruleLines(const CheckedFile& file, const Look& look) {
  std::string text;
  size_t codeWidth = 0;
  size_t answerWidth = columnsOf(words::kRuleNoHit.in(look.language));
  const auto answerOf = [&look](const RuleCheck& rule) {
    if (!rule.hit) return std::string(words::kRuleNoHit.in(look.language));
    return std::string(words::kRuleHit.in(look.language)) + " (" +
           severityText(rule.severity, look.language) + ")";
  };
  for (const RuleCheck& rule : file.trace.rules) {
    codeWidth = std::max(codeWidth, columnsOf(rule.code));
    answerWidth = std::max(answerWidth, columnsOf(answerOf(rule)));
  }
  const auto padded = [](const std::string& cell, size_t width) {
    return cell + std::string(width - std::min(width, columnsOf(cell)), ' ');
  };
  for (const RuleCheck& rule : file.trace.rules) {
    text += wrapped(ruleText(rule, look), look.columns,
                    "  " + padded(rule.code, codeWidth) + "  " + padded(answerOf(rule), answerWidth) + "  ");
  }
  if (!file.trace.rules.empty() && !file.verdict.isPe)
    text += wrapped(words::kRuleNotPe.in(look.language), look.columns, "  ");
  return text;
}

std::string findingLines(const CheckedFile& file, const Look& look) {
  std::string text;
  for (const Finding& finding : file.verdict.findings) {
    std::string line = printable(finding.code) + " (" + severityText(finding.severity, look.language) +
                       "): " + printable(finding.title);
    if (!finding.detail.empty()) line += ". " + printable(finding.detail);
    text += wrapped(line, look.columns, "  ");
  }
  return text;
}

std::string fileText(const CheckedFile& file, const CheckDocument& document, const Look& look) {
  std::string text = printable(file.verdict.path) + "\n  " + verdictText(file, look) + "\n";
  if (file.trace.reading != FileReading::kMissing)
    text += wrapped(scopeText(file, look.language), look.columns, "  ");
  if (!document.explain) return text + findingLines(file, look);
  return text + digestLines(file, document.signatureCount > 0, look.language) + ruleLines(file, look);
}

std::string checkCsv(const CheckDocument& document) {
  Listing listing({{"path", words::kCheckFilesHelp},
                   {"severity", words::kCheckFilesHelp},
                   {"examined", words::kCheckFilesHelp},
                   {"not_examined_reason", words::kCheckFilesHelp},
                   {"in_scope", words::kCheckFilesHelp},
                   {"scope_reason", words::kCheckFilesHelp},
                   {"size", words::kCheckFilesHelp},
                   {"sha256", words::kCheckFilesHelp},
                   {"threat", words::kCheckFilesHelp},
                   {"codes", words::kCheckFilesHelp}});
  for (const CheckedFile& file : document.files) {
    std::string codes;
    for (const Finding& finding : file.verdict.findings) codes += (codes.empty() ? "" : " ") + finding.code;
    const auto yesNo = [](bool yes) { return std::string(yes ? "true" : "false"); };
    listing.addRow({{"", toUtf8(file.verdict.path)},
                    std::string(severityName(file.verdict.severity)),
                    yesNo(file.examined()),
                    std::string(fileReadingName(file.trace.reading)),
                    yesNo(inScope(file)),
                    scopeReason(file),
                    std::to_string(file.verdict.size),
                    file.verdict.sha256,
                    file.verdict.threatName,
                    codes});
  }
  Look csv;
  csv.mode = OutputMode::kCsv;
  return listing.text(csv);
}

}  // namespace

std::string readingText(FileReading reading, Language language) {
  switch (reading) {
    case FileReading::kWhole:
      return {};
    case FileReading::kMissing:
      return words::kReadingMissing.in(language);
    case FileReading::kEmpty:
      return words::kReadingEmpty.in(language);
    case FileReading::kTooLarge:
      return words::kReadingTooLarge.in(language);
    case FileReading::kElsewhere:
      return words::kReadingElsewhere.in(language);
    case FileReading::kNotOpened:
      return words::kReadingNotOpened.in(language);
    case FileReading::kBroken:
      break;
  }
  return words::kReadingBroken.in(language);
}

Json checkJson(const CheckDocument& document) {
  Json databases = Json::array();
  for (const UsedDatabase& used : document.databases) {
    Json database = Json::object();
    putPath(database, "path", used.path);
    database["loaded"] = used.loaded;
    databases.push_back(std::move(database));
  }
  Json files = Json::array();
  for (const CheckedFile& file : document.files) files.push_back(fileJson(file));
  const CheckResult result = resultOf(document);
  return Json{{"database",
               {{"count", jsonNumber(document.signatureCount)},
                {"version", document.signatureVersion},
                {"files", std::move(databases)}}},
              {"fail_on", severityName(document.failOn)},
              {"summary",
               {{"files", result.files},
                {"found", result.found},
                {"suspicious", result.suspicious},
                {"not_examined", result.notExamined}}},
              {"files", std::move(files)}};
}

std::string renderCheck(const CheckDocument& document, const Look& look) {
  if (look.mode == OutputMode::kCsv) return checkCsv(document);
  const Language language = look.language;
  std::string text;
  for (const CheckedFile& file : document.files) text += fileText(file, document, look) + "\n";
  const CheckResult result = resultOf(document);
  text += wrapped(
      filled(words::kCheckSummary, language,
             {countText(result.files, words::kCheckedFiles, language), numberText(result.found, language),
              numberText(result.suspicious, language), numberText(result.notExamined, language)}),
      look.columns);
  std::string database = words::kCheckNoSignatures.in(language);
  if (document.signatureCount > 0)
    database = filled(words::kCheckDatabase, language,
                      {countText(document.signatureCount, words::kCheckSignatures, language),
                       printable(document.signatureVersion)});
  return text + wrapped(database, look.columns);
}

}  // namespace korvel::ctl
