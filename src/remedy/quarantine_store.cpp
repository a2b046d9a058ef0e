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
#include "base/sizes.h"
#include "base/utf.h"
#include "remedy/quarantine_index.h"
#include "remedy/stored_file.h"

namespace korvel {
namespace {

constexpr uint64_t kMaxIndexBytes = 256 * kMiB;

[[noreturn]] void throwExists(const std::wstring& index, DWORD code) {
  throw std::filesystem::filesystem_error("exists", index,
                                          std::error_code(static_cast<int>(code), win32Category()));
}

std::wstring indexPath(const std::wstring& dir) { return dir + L"\\quarantine.db"; }

struct Index {
  std::vector<QuarantineRecord> records;  ///< storedFileExists is not set: most operations do not look at it
  bool whole = false;                     ///< read to its end, or there is none
};

Index readIndex(const std::wstring& dir) {
  const std::wstring path = indexPath(dir);
  Index index;
  std::string text;
  if (const UniqueHandle file = openForReading(path, kMaxIndexBytes)) {
    index.whole = readToEnd(file.get(), text, kMaxIndexBytes);
  } else {
    index.whole = pathStatusFromError(::GetLastError()) == PathStatus::kMissing;
  }
  if (!index.whole && ::GetLastError() == ERROR_FILE_TOO_LARGE) throwExists(path, ERROR_FILE_TOO_LARGE);
  index.records = parseQuarantineIndex(text);
  return index;
}

/// A failure is not reported, on purpose.
void writeIndex(const std::wstring& dir, const Index& index, const StopToken& stop) {
  if (!index.whole) return;  // the records that could not be read would be lost
  (void)rewriteTextFile(indexPath(dir), formatQuarantineIndex(index.records), stop);
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

}  // namespace

bool QuarantineStore::prepare(const std::wstring& dir, std::string* error) {
  if (!createProtectedDirectory(dir)) return fail(error, "cannot create quarantine dir: " + toUtf8(dir));
  const std::wstring index = indexPath(dir);
  switch (indexStatus_(index)) {
    case PathStatus::kExists:
      break;
    case PathStatus::kMissing:
      writeIndex(dir, {.records = {}, .whole = true}, stop_);
      break;
    case PathStatus::kUnreadable:
      throwExists(index, ::GetLastError());
  }
  return true;
}

bool QuarantineStore::ensureStore(const std::wstring& dir, std::string* error) {
  const MutexLock lock(mutex_);
  return prepare(dir, error);
}

bool QuarantineStore::addFile(const std::wstring& dir, const std::wstring& given, const std::string& sha256,
                              const std::string& threat, const std::string& code, Severity severity,
                              QuarantineRecord* outRecord, std::string* error) {
  const MutexLock lock(mutex_);
  const std::wstring path = given.substr(0, given.find(L'\0'));  // as the file API sees it
  if (!pathExists(path)) return fail(error, "file not found");
  if (!prepare(dir, error)) return false;
  Index index = readIndex(dir);

  QuarantineRecord record;
  record.id = unixMillisecondsNow();
  record.originalPath = recordPath(path);
  record.name = fileName(record.originalPath);
  record.sha256 = recordText(sha256);
  record.threat = recordText(threat);
  record.code = recordText(code);
  record.severity = severity;
  record.time = unixSecondsNow();
  record.size = fileSizeOrZero(path);
  record.storedPath = dir + L"\\" + quarantinedFileName(record.time, sha256, record.name);

  const std::wstring sourcePath = forFileApi(path);
  const std::wstring storedPath = forFileApi(record.storedPath);
  // The move comes before the index: a file that cannot be moved leaves no record behind.
  if (!moveFile(path, record.storedPath, stop_)) {
    const DWORD reason = ::GetLastError();
    return fail(error, "MoveFileEx failed, code " + std::to_string(reason) +
                           " (файл может быть запущен или заблокирован)");
  }
  record.storedFileExists = true;
  try {
    index.records.push_back(record);
    writeIndex(dir, index, stop_);
  } catch (...) {
    // Without memory for the index nobody could find the file again, so it goes back.
    (void)::MoveFileExW(storedPath.c_str(), sourcePath.c_str(), MOVEFILE_COPY_ALLOWED);
    throw;
  }
  if (outRecord != nullptr) *outRecord = std::move(record);
  return true;
}

std::vector<QuarantineRecord> QuarantineStore::listRecords(const std::wstring& dir) {
  const MutexLock lock(mutex_);
  std::vector<QuarantineRecord> records = readIndex(dir).records;
  for (QuarantineRecord& record : records) record.storedFileExists = storedFileIsThere(record);
  return records;
}

bool QuarantineStore::restoreRecord(const std::wstring& dir, uint64_t id, std::string* error) {
  const MutexLock lock(mutex_);
  Index index = readIndex(dir);
  const auto record = findRecord(index.records, id);
  if (record == index.records.end()) return fail(error, "record not found");

  (void)createDirectories(folderOf(record->originalPath));  // the move reports the failure
  if (!moveFile(record->storedPath, record->originalPath, stop_)) {
    const DWORD reason = ::GetLastError();
    return fail(error, "restore failed, code " + std::to_string(reason));
  }
  index.records.erase(record);
  writeIndex(dir, index, stop_);
  return true;
}

bool QuarantineStore::deleteRecord(const std::wstring& dir, uint64_t id, std::string* error) {
  const MutexLock lock(mutex_);
  Index index = readIndex(dir);
  const auto record = findRecord(index.records, id);
  if (record == index.records.end()) return fail(error, "record not found");

  if (storedFileIsThere(*record)) eraseFile(record->storedPath);  // the record is removed in any case
  index.records.erase(record);
  writeIndex(dir, index, stop_);
  return true;
}

}  // namespace korvel
