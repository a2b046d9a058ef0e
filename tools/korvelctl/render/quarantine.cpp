#include "korvelctl/render/quarantine.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/utf.h"
#include "korvelctl/cli/words/quarantine_words.h"
#include "korvelctl/cli/words/report_words.h"
#include "korvelctl/render/json_path.h"
#include "korvelctl/render/json_text.h"
#include "korvelctl/render/listing.h"
#include "korvelctl/render/printable.h"
#include "korvelctl/render/texts.h"
#include "korvelctl/render/wrap.h"

namespace korvel::ctl {

std::string renderQuarantine(const QuarantineCheck& check, const std::vector<QuarantineRow>& rows,
                             const Look& look) {
  const Language language = look.language;
  Listing listing({{"id", words::kColumnId},
                   {"time_utc", words::kColumnDate},
                   {"severity", words::kColumnLevel},
                   {"name", words::kColumnName},
                   {"size", words::kColumnSize, Listing::Kind::kNumber},
                   {"stored_state", words::kColumnStored},
                   {"original", words::kColumnFrom, Listing::Kind::kPath}});
  for (const QuarantineRow& row : rows) {
    const QuarantineRecord& record = row.record;
    Listing::Cell severity(severityText(record.severity, language), severityName(record.severity));
    severity.severity = record.severity;
    const bool there = record.storedFileExists;
    listing.addRow(
        {std::to_string(record.id),
         {timeText(record.time, look), isoUtc(record.time)},
         std::move(severity),
         printable(record.threat),
         {bytesText(record.size, language), std::to_string(record.size)},
         {(there ? words::kFileThere : words::kFileGone).in(language), there ? "present" : "missing"},
         {printable(record.originalPath), toUtf8(record.originalPath)}});
  }
  std::string text = listing.text(look);
  if (look.mode == OutputMode::kCsv) return text;
  const auto missing = static_cast<uint64_t>(std::count_if(
      rows.begin(), rows.end(), [](const QuarantineRow& row) { return !row.record.storedFileExists; }));
  const std::string count = countText(rows.size(), words::kRecords, language);
  if (rows.empty())
    text += std::string(words::kQuarantineEmpty.in(language)) + "\n";
  else if (missing > 0)
    text += wrapped(filled(words::kRecordsMissing, language, {count, numberText(missing, language)}),
                    look.columns);
  else
    text += count + "\n";
  if (check.index == IndexState::kDamaged) text += wrapped(words::kIndexDamaged.in(language), look.columns);
  if (check.index == IndexState::kMissing && !check.orphans.empty())
    text += wrapped(words::kIndexGone.in(language), look.columns);
  if (!check.orphans.empty()) {
    text +=
        wrapped(filled(words::kOrphans, language, {countText(check.orphans.size(), words::kFiles, language)}),
                look.columns);
    for (const StoredFile& orphan : check.orphans)
      text += "  " + printable(orphan.name) + "  " + bytesText(orphan.size, language) + "\n";
  }
  return text;
}

Json quarantineRowJson(const QuarantineRow& row) {
  const QuarantineRecord& record = row.record;
  Json json{{"id", jsonNumber(record.id)}};
  putPath(json, "original", record.originalPath);
  putPath(json, "stored", record.storedPath);
  json.update(Json{{"stored_state",
                    storedStateName(record.storedFileExists ? StoredState::kPresent : StoredState::kMissing)},
                   {"name", record.threat},
                   {"code", record.code},
                   {"severity", severityName(record.severity)},
                   {"size", jsonNumber(record.size)},
                   {"time_utc", jsonTime(record.time)}});
  return json;
}

Json quarantineJson(const QuarantineCheck& check, const std::vector<QuarantineRow>& rows) {
  Json list = Json::array(), orphans = Json::array();
  for (const QuarantineRow& row : rows) list.push_back(quarantineRowJson(row));
  for (const StoredFile& orphan : check.orphans) {
    Json json = Json::object();
    putPath(json, "name", orphan.name);
    json["size"] = jsonNumber(orphan.size);
    orphans.push_back(json);
  }
  Json json = Json::object();
  putPath(json, "folder", check.folder);
  json.update(Json{{"index", indexStateName(check.index)},
                   {"records", list},
                   {"orphans", check.folderListed ? orphans : Json()}});
  return json;
}

}  // namespace korvel::ctl
