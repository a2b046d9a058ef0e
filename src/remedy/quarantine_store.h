// Moves detected files into the quarantine directory and keeps their index, quarantine.db. Holds no index in
// memory: every operation reads it from the disk and writes it back where it changed something.
//
// No record is lost to an index that is there but cannot be read to its end: what could be read is listed,
// and nothing is written. With an index of more than 256 MiB every operation but ensureStore() throws
// std::filesystem::filesystem_error ("exists").
//
// Operations serialise themselves, so threads may share one store. Texts are UTF-8; `error` may be null.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "base/files.h"
#include "base/mutex.h"
#include "base/stop.h"
#include "records/quarantine_record.h"

namespace korvel {

class QuarantineStore {
 public:
  /// As pathStatus().
  using StatusQuery = std::function<PathStatus(const std::wstring& path)>;

  /// `indexStatus` is asked whether there is an index. `stop` ends the waiting for files that are held.
  explicit QuarantineStore(StatusQuery indexStatus = pathStatus, StopToken stop = {})
      : indexStatus_(std::move(indexStatus)), stop_(std::move(stop)) {}

  /// Creates the directory, for the system and the administrators only, and, where there is none, an empty
  /// index. Throws std::filesystem::filesystem_error
  /// ("exists") when the index's status cannot be read.
  bool ensureStore(const std::wstring& dir, std::string* error) EXCLUDES(mutex_);

  /// Moves the file at `path` into quarantine and records it. A failure leaves the file in its place.
  /// `outRecord` may be null. Throws as ensureStore().
  bool addFile(const std::wstring& dir, const std::wstring& path, const std::string& sha256,
               const std::string& threat, const std::string& code, Severity severity,
               QuarantineRecord* outRecord, std::string* error) EXCLUDES(mutex_);

  /// The index in file order. A missing or unreadable index is empty.
  std::vector<QuarantineRecord> listRecords(const std::wstring& dir) EXCLUDES(mutex_);

  /// Moves the file of the first record with this id back, replacing any file there, and removes the record.
  bool restoreRecord(const std::wstring& dir, uint64_t id, std::string* error) EXCLUDES(mutex_);

  /// Deletes the file of the first record with this id and removes the record, even if the file stays until
  /// the next start of the system.
  bool deleteRecord(const std::wstring& dir, uint64_t id, std::string* error) EXCLUDES(mutex_);

 private:
  bool prepare(const std::wstring& dir, std::string* error) REQUIRES(mutex_);

  const StatusQuery indexStatus_;
  const StopToken stop_;
  Mutex mutex_;  // one read-modify-write of the index at a time
};

}  // namespace korvel
