// The quarantine's records compared with the files that lie in its folder. Pure and thread-safe; the caller
// lists the folder and reads the files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "records/quarantine_record.h"

namespace korvel::ctl {

enum class StoredState {
  kPresent,
  kMissing,
  kAltered,      ///< its size or its digest is not the recorded one
  kNotLookedAt,  ///< the caller may not read it
};

/// "present", "missing", "altered", "not_looked_at". A static text.
const char* storedStateName(StoredState state);

/// What the caller could find out about one stored file.
struct StoredFile {
  std::wstring name;  ///< in the quarantine's folder
  uint64_t size = 0;
  std::optional<std::string> sha256 = {};  ///< lower-case; nothing where it could not be read

  bool operator==(const StoredFile&) const = default;
};

/// The index beside the files.
enum class IndexState {
  kWhole,
  kMissing,
  kDamaged,      ///< not as the service writes it: what follows the damage may be lost
  kNotLookedAt,  ///< the caller may not read it
};

/// "whole", "missing", "damaged", "not_looked_at". A static text.
const char* indexStateName(IndexState state);

/// The recorded SHA-256, lower-case. The records that the service sends lack it: then its first 16 digits,
/// which the stored file's name holds. Empty where neither is there.
std::string recordedDigest(const QuarantineRecord& record);

/// Gives the records that the service sent the digests of the same records in its index.
void fillInDigests(std::vector<QuarantineRecord>& records, const std::vector<QuarantineRecord>& index);

struct QuarantineRow {
  QuarantineRecord record;
  StoredState state = StoredState::kNotLookedAt;
  std::string sha256;       ///< of the stored file now; empty where it was not read
  bool sharesFile = false;  ///< another record names the same stored file
  bool sharesId = false;    ///< an earlier record has the same id, so this one cannot be acted on

  bool operator==(const QuarantineRow&) const = default;
};

struct QuarantineCheck {
  std::wstring folder;
  IndexState index = IndexState::kNotLookedAt;
  std::vector<QuarantineRow> rows;
  std::vector<StoredFile> orphans;  ///< files without a record, by name
  bool folderListed = false;        ///< else orphans are not known

  bool hasFindings() const;
};

/// The state of an index file with this content; nothing = there is none.
IndexState indexStateOf(const std::optional<std::string>& text);

/// `files` are the files that lie in `folder`, the index and its temporary included; nothing where the folder
/// could not be listed. Names compare without regard to case.
QuarantineCheck checkQuarantine(const std::vector<QuarantineRecord>& records, const std::wstring& folder,
                                const std::optional<std::vector<StoredFile>>& files, IndexState index);

}  // namespace korvel::ctl
