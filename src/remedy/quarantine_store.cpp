#include "remedy/quarantine_store.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "base/clock.h"
#include "base/error.h"
#include "base/files.h"
#include "base/long_path.h"
#include "base/paths.h"
#include "base/utf.h"
#include "remedy/quarantine_index.h"

namespace korvel {
namespace {

std::wstring indexPath(const std::wstring& dir) { return dir + L"\\quarantine.db"; }

/// Leaves storedFileExists alone: most operations do not look at it.
std::vector<QuarantineRecord> readIndex(const std::wstring& dir) {
  std::string text;
  if (const UniqueHandle file = openForReading(indexPath(dir))) {
    (void)readToEnd(file.get(), text);  // the text ends at a failed read
  }
  return parseQuarantineIndex(text);
}

void writeIndex(const std::wstring& dir, const std::vector<QuarantineRecord>& records) {
  (void)rewriteTextFile(indexPath(dir), formatQuarantineIndex(records));  // failure unreported, on purpose
}

auto findRecord(std::vector<QuarantineRecord>& records, uint64_t id) {
  return std::find_if(records.begin(), records.end(),
                      [id](const QuarantineRecord& record) { return record.id == id; });
}

bool storedFileIsThere(const QuarantineRecord& record) {
  return !record.storedPath.empty() && pathExists(record.storedPath);
}

/// 0 for a directory and for a file whose attributes cannot be read.
uint64_t fileSizeOrZero(const std::wstring& path) {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (!::GetFileAttributesExW(forFileApi(path).c_str(), GetFileExInfoStandard, &data)) return 0;
  if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return 0;
  return static_cast<uint64_t>(data.nFileSizeHigh) << 32 | data.nFileSizeLow;
}

/// The path up to its last separator, without it; empty when there is none. Further separators may stay at
/// the end: a run of them counts as one.
std::wstring folderOf(const std::wstring& path) {
  const size_t end = path.find_last_of(L"\\/");
  return end == std::wstring::npos ? std::wstring() : path.substr(0, end);
}

/// Replaces what is at `to`. From another volume the file is copied and then deleted.
bool moveOver(const std::wstring& from, const std::wstring& to) {
  return ::MoveFileExW(forFileApi(from).c_str(), forFileApi(to).c_str(),
                       MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED) != FALSE;
}

/// Best effort, read-only files included.
void deleteStoredFile(const std::wstring& storedPath) {
  const std::wstring path = forFileApi(storedPath);
  if (::DeleteFileW(path.c_str())) return;
  const DWORD attributes = ::GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_READONLY) == 0) return;
  (void)::SetFileAttributesW(path.c_str(), attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
  (void)::DeleteFileW(path.c_str());
}

}  // namespace

bool QuarantineStore::prepare(const std::wstring& dir, std::string* error) {
  if (!createDirectories(dir)) return fail(error, "cannot create quarantine dir: " + toUtf8(dir));
  const std::wstring index = indexPath(dir);
  switch (pathStatus(index)) {
    case PathStatus::kExists:
      break;
    case PathStatus::kMissing:
      writeIndex(dir, {});
      break;
    case PathStatus::kUnreadable: {
      const std::error_code code(static_cast<int>(::GetLastError()), std::system_category());
      throw std::filesystem::filesystem_error("exists", index, code);
    }
  }
  return true;
}

bool QuarantineStore::ensureStore(const std::wstring& dir, std::string* error) {
  const MutexLock lock(mutex_);
  return prepare(dir, error);
}

bool QuarantineStore::addFile(const std::wstring& dir, const std::wstring& path, const std::string& sha256,
                              const std::string& threat, const std::string& code, Severity severity,
                              QuarantineRecord* outRecord, std::string* error) {
  const MutexLock lock(mutex_);
  if (!pathExists(path)) return fail(error, "file not found");
  if (!prepare(dir, error)) return false;
  std::vector<QuarantineRecord> records = readIndex(dir);

  QuarantineRecord record;
  record.id = unixMillisecondsNow();
  record.originalPath = path;
  record.name = fileName(path);
  record.sha256 = sha256;
  record.threat = threat;
  record.code = code;
  record.severity = severity;
  record.time = unixSecondsNow();
  record.size = fileSizeOrZero(path);
  record.storedPath = dir + L"\\" + quarantinedFileName(record.time, sha256, record.name);

  // The move comes before the index: a file that cannot be moved leaves no record behind.
  if (!moveOver(path, record.storedPath)) {
    const DWORD reason = ::GetLastError();
    return fail(error, "MoveFileEx failed, code " + std::to_string(reason) +
                           " (файл может быть запущен или заблокирован)");
  }
  record.storedFileExists = true;
  records.push_back(record);
  writeIndex(dir, records);
  if (outRecord != nullptr) *outRecord = std::move(record);
  return true;
}

std::vector<QuarantineRecord> QuarantineStore::listRecords(const std::wstring& dir) {
  const MutexLock lock(mutex_);
  std::vector<QuarantineRecord> records = readIndex(dir);
  for (QuarantineRecord& record : records) record.storedFileExists = storedFileIsThere(record);
  return records;
}

bool QuarantineStore::restoreRecord(const std::wstring& dir, uint64_t id, std::string* error) {
  const MutexLock lock(mutex_);
  std::vector<QuarantineRecord> records = readIndex(dir);
  const auto record = findRecord(records, id);
  if (record == records.end()) return fail(error, "record not found");

  (void)createDirectories(folderOf(record->originalPath));  // the move reports the failure
  if (!moveOver(record->storedPath, record->originalPath)) {
    const DWORD reason = ::GetLastError();
    return fail(error, "restore failed, code " + std::to_string(reason));
  }
  records.erase(record);
  writeIndex(dir, records);
  return true;
}

bool QuarantineStore::deleteRecord(const std::wstring& dir, uint64_t id, std::string* error) {
  const MutexLock lock(mutex_);
  std::vector<QuarantineRecord> records = readIndex(dir);
  const auto record = findRecord(records, id);
  if (record == records.end()) return fail(error, "record not found");

  if (storedFileIsThere(*record)) deleteStoredFile(record->storedPath);  // the record is removed in any case
  records.erase(record);
  writeIndex(dir, records);
  return true;
}

}  // namespace korvel
