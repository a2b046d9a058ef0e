#include "korvelctl/model/quarantine_check.h"

#include <algorithm>
#include <map>
#include <set>

#include "base/paths.h"
#include "base/text.h"
#include "base/utf.h"
#include "remedy/quarantine_index.h"

namespace korvel::ctl {
namespace {

constexpr std::wstring_view kIndexFiles[] = {L"quarantine.db", L"quarantine.db.tmp"};

constexpr size_t kDigitsInStoredName = 16;

bool isIndexFile(std::wstring_view lowerName) {
  return std::find(std::begin(kIndexFiles), std::end(kIndexFiles), lowerName) != std::end(kIndexFiles);
}

StoredState stateOf(const QuarantineRecord& record, const StoredFile& file) {
  // A record whose size was not known has 0.
  if (record.size != 0 && record.size != file.size) return StoredState::kAltered;
  if (!file.sha256) return StoredState::kNotLookedAt;
  return file.sha256->starts_with(recordedDigest(record)) ? StoredState::kPresent : StoredState::kAltered;
}

}  // namespace

const char* storedStateName(StoredState state) {
  switch (state) {
    case StoredState::kPresent:
      return "present";
    case StoredState::kMissing:
      return "missing";
    case StoredState::kAltered:
      return "altered";
    case StoredState::kNotLookedAt:
      break;
  }
  return "not_looked_at";
}

const char* indexStateName(IndexState state) {
  switch (state) {
    case IndexState::kWhole:
      return "whole";
    case IndexState::kMissing:
      return "missing";
    case IndexState::kDamaged:
      return "damaged";
    case IndexState::kNotLookedAt:
      break;
  }
  return "not_looked_at";
}

std::string recordedDigest(const QuarantineRecord& record) {
  if (!record.sha256.empty()) return lowerAscii(record.sha256);
  const std::string name = toUtf8(fileName(record.storedPath));
  const size_t begin = name.find('_');
  const size_t end = begin == std::string::npos ? begin : name.find('_', begin + 1);
  if (end == std::string::npos) return {};
  const std::string digits = name.substr(begin + 1, end - begin - 1);
  const bool hexadecimal = digits.find_first_not_of("0123456789abcdef") == std::string::npos;
  return hexadecimal && digits.size() == kDigitsInStoredName ? digits : std::string();
}

void fillInDigests(std::vector<QuarantineRecord>& records, const std::vector<QuarantineRecord>& index) {
  for (QuarantineRecord& record : records) {
    for (const QuarantineRecord& stored : index) {
      if (stored.id == record.id && stored.storedPath == record.storedPath) record.sha256 = stored.sha256;
    }
  }
}

bool QuarantineCheck::hasFindings() const {
  const bool badRow = std::any_of(rows.begin(), rows.end(), [](const QuarantineRow& row) {
    return row.state == StoredState::kMissing || row.state == StoredState::kAltered || row.sharesFile ||
           row.sharesId;
  });
  return badRow || !orphans.empty() || index == IndexState::kDamaged ||
         (index == IndexState::kMissing && !rows.empty());
}

IndexState indexStateOf(const std::optional<std::string>& text) {
  if (!text) return IndexState::kMissing;
  // The reader is lenient and the writer is not: only a whole index comes out as it went in.
  return formatQuarantineIndex(parseQuarantineIndex(*text)) == *text ? IndexState::kWhole
                                                                     : IndexState::kDamaged;
}

QuarantineCheck checkQuarantine(const std::vector<QuarantineRecord>& records, const std::wstring& folder,
                                const std::optional<std::vector<StoredFile>>& files, IndexState index) {
  QuarantineCheck check;
  check.folder = folder;
  check.index = index;
  check.folderListed = files.has_value();
  std::map<std::wstring, const StoredFile*> byName;
  if (files) {
    for (const StoredFile& file : *files) byName[lowerWide(file.name)] = &file;
  }

  const std::wstring lowerFolder = lowerWide(joinPath(folder, L""));
  std::set<std::wstring> recorded;
  std::set<uint64_t> ids;
  for (const QuarantineRecord& record : records) {
    QuarantineRow row{.record = record, .state = StoredState::kNotLookedAt, .sha256 = {}};
    row.sharesId = !ids.insert(record.id).second;
    const std::wstring lowerPath = lowerWide(record.storedPath);
    row.sharesFile = !lowerPath.empty() && !recorded.insert(lowerPath).second;
    const bool inFolder = lowerPath == lowerFolder + lowerWide(fileName(record.storedPath));
    if (files && inFolder) {
      const auto file = byName.find(lowerWide(fileName(record.storedPath)));
      row.state = file == byName.end() ? StoredState::kMissing : stateOf(record, *file->second);
      if (file != byName.end()) row.sha256 = file->second->sha256.value_or("");
    } else if (!record.storedFileExists) {
      row.state = StoredState::kMissing;  // the service says so
    }
    check.rows.push_back(std::move(row));
  }
  for (const auto& [name, file] : byName) {
    if (!isIndexFile(name) && !recorded.contains(lowerFolder + name)) check.orphans.push_back(*file);
  }
  return check;
}

}  // namespace korvel::ctl
