#include "korvelctl/render/quarantine_check.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/utf.h"
#include "korvelctl/cli/words/verify_words.h"
#include "korvelctl/render/json_path.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/listing.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/quarantine.h"
#include "korvelctl/render/texts.h"
#include "korvelctl/render/wrap.h"

namespace korvel::ctl {
namespace {

uint64_t countOf(const QuarantineCheck& check, StoredState state) {
  return static_cast<uint64_t>(
      std::count_if(check.rows.begin(), check.rows.end(),
                    [state](const QuarantineRow& row) { return row.state == state; }));
}

Severity colorOf(StoredState state) {
  switch (state) {
    case StoredState::kPresent:
      return kSeverityClean;
    case StoredState::kNotLookedAt:
      return kSeverityLow;
    case StoredState::kMissing:
    case StoredState::kAltered:
      break;
  }
  return kSeverityHigh;
}

}  // namespace

std::string storedStateText(StoredState state, Language language) {
  switch (state) {
    case StoredState::kPresent:
      return words::kStoredPresent.in(language);
    case StoredState::kMissing:
      return words::kStoredMissing.in(language);
    case StoredState::kAltered:
      return words::kStoredAltered.in(language);
    case StoredState::kNotLookedAt:
      break;
  }
  return words::kStoredNotLookedAt.in(language);
}

Json quarantineCheckJson(const QuarantineCheck& check) {
  Json rows = Json::array();
  for (const QuarantineRow& row : check.rows) {
    Json json = quarantineRowJson(row);
    json["stored_state"] = storedStateName(row.state);     // looked at, not only asked for
    json["recorded_sha256"] = recordedDigest(row.record);  // the first 16 digits where no more is known
    json["sha256"] = row.sha256.empty() ? Json() : Json(row.sha256);
    if (row.sharesFile) json["shares_file"] = true;
    if (row.sharesId) json["shares_id"] = true;
    rows.push_back(std::move(json));
  }
  Json orphans = Json::array();
  for (const StoredFile& file : check.orphans) {
    Json json = Json::object();
    putPath(json, "name", file.name);
    json["size"] = jsonNumber(file.size);
    json["sha256"] = file.sha256 ? Json(*file.sha256) : Json();
    orphans.push_back(std::move(json));
  }
  Json json = Json::object();
  putPath(json, "folder", check.folder);
  json.update(Json{{"index", indexStateName(check.index)},
                   {"folder_listed", check.folderListed},
                   {"records", std::move(rows)},
                   {"orphans", std::move(orphans)}});
  return json;
}

std::string quarantineWarnings(const QuarantineCheck& check, const Look& look) {
  const Language language = look.language;
  std::string text;
  if (!check.orphans.empty()) {
    text += std::string(words::kVerifyOrphans.in(language)) + "\n";
    for (const StoredFile& file : check.orphans)
      text += "  " + printable(file.name) + "  " + bytesText(file.size, language) + "\n";
  }
  if (check.index == IndexState::kDamaged)
    text += wrapped(words::kVerifyIndexDamaged.in(language), look.columns);
  if (check.index == IndexState::kMissing) text += wrapped(words::kIndexMissing.in(language), look.columns);
  if (check.index == IndexState::kNotLookedAt)
    text += wrapped(words::kIndexNotLookedAt.in(language), look.columns);
  if (!check.folderListed)
    text += wrapped(filled(words::kFolderNotListed, language, {printable(check.folder)}), look.columns);
  return text;
}

std::string renderQuarantineCheck(const QuarantineCheck& check, const Look& look) {
  const Language language = look.language;
  Listing listing({{"id", words::kVerifyId, Listing::Kind::kNumber},
                   {"stored_state", words::kVerifyState},
                   {"name", words::kVerifyThreat},
                   {"size", words::kVerifySize, Listing::Kind::kNumber},
                   {"original", words::kVerifyOriginal, Listing::Kind::kPath}});
  for (const QuarantineRow& row : check.rows) {
    Listing::Cell state(storedStateText(row.state, language), storedStateName(row.state));
    state.severity = colorOf(row.state);
    listing.addRow({std::to_string(row.record.id),
                    std::move(state),
                    printable(row.record.threat),
                    {bytesText(row.record.size, language), std::to_string(row.record.size)},
                    {printable(row.record.originalPath), toUtf8(row.record.originalPath)}});
    if (row.sharesId) listing.addNote(words::kSharesId.in(language));
    if (row.sharesFile) listing.addNote(words::kSharesFile.in(language));
  }
  std::string text = listing.text(look);
  if (look.mode == OutputMode::kCsv) return text;
  if (const std::string warnings = quarantineWarnings(check, look); !warnings.empty())
    text += (text.empty() ? "" : "\n") + warnings;
  if (!text.empty()) text += "\n";
  const auto number = [language](uint64_t count) { return numberText(count, language); };
  return text +
         wrapped(filled(words::kVerifySummary, language,
                        {countText(check.rows.size(), words::kVerifyRecords, language),
                         number(countOf(check, StoredState::kPresent)),
                         number(countOf(check, StoredState::kMissing)),
                         number(countOf(check, StoredState::kAltered)),
                         number(countOf(check, StoredState::kNotLookedAt)), number(check.orphans.size())}),
                 look.columns);
}

}  // namespace korvel::ctl
