// File-system operations: path status, directories, whole files, and replacing a file so that it is never
// seen half-written, even when the process is killed.
//
// All functions are as thread-safe as the file system. Paths are UTF-16 and may be long.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/unique_resource.h"
#include "base/win.h"

namespace korvel {

enum class PathStatus { kExists, kMissing, kUnreadable };

/// kMissing when the system reports that nothing can exist under this name: file, path, network path or
/// share not found, an invalid name, a file in the place of a directory. kUnreadable (access denied, a
/// failing device) leaves the reason in GetLastError().
PathStatus pathStatus(const std::wstring& path);
/// The status of a path whose attributes could not be read, from the error code of the attempt.
PathStatus pathStatusFromError(DWORD code);

/// True when a file system object of any kind exists at `path`; false also when that cannot be determined.
inline bool pathExists(const std::wstring& path) { return pathStatus(path) == PathStatus::kExists; }

/// Creates `path` and every missing parent. True when the directory exists afterwards; on failure the reason
/// is in GetLastError().
bool createDirectories(const std::wstring& path);

/// Opens an existing file for sequential reading; others may read, write and delete it meanwhile. Empty on
/// failure, with the reason in GetLastError().
UniqueHandle openForReading(const std::wstring& path);

/// Reads the whole file, whose position must be at the beginning, also when it grows meanwhile. False when a
/// read fails; `bytes` then holds what was read before, and the reason is in GetLastError(). Throws
/// std::bad_alloc when the file does not fit into memory.
bool readToEnd(HANDLE file, std::string& bytes);

/// Reads a whole file into `bytes`. The file may be open elsewhere for reading, writing and deletion.
/// False, with `bytes` empty and the reason in GetLastError(), when it cannot be opened or read. Throws
/// std::bad_alloc when the file does not fit into memory.
bool readWholeFile(const std::wstring& path, std::string& bytes);

/// Writes all of `bytes`, in several calls if necessary. False on the first failure, with the reason in
/// GetLastError().
bool writeAll(HANDLE file, std::string_view bytes);

/// Replaces the content of one file: writes a temporary file and moves it over the target at the end. An
/// instance destroyed before commit() deletes its temporary. Not thread-safe.
class FileReplacement {
 public:
  FileReplacement(const std::wstring& target, const std::wstring& temporary);
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  /// Creates or truncates the temporary. On failure the reason is in GetLastError().
  bool open();
  /// Appends bytes to the temporary.
  bool write(std::string_view bytes);
  /// Flushes the temporary to the disk and closes it. The last step that can fail because the disk is full.
  bool finish();
  /// Moves the finished temporary over the target. `clearAttributes` first resets the target's attributes,
  /// so that a read-only target can be replaced; they are not put back. On failure the temporary is
  /// deleted, the target stays as it was, and GetLastError() holds the move's code.
  bool commit(bool clearAttributes);

 private:
  std::wstring target_;
  std::wstring temporary_;
  UniqueHandle file_;
  bool temporaryExists_ = false;
};

/// Replaces the text file at `path` through `path` + ".tmp", so that a kill at any moment leaves the old or
/// the new text. If the temporary cannot be created or moved, rewrites the file in place instead. False only
/// when the file cannot be opened for writing either way. Write errors are not reported: when the disk is too
/// full for the temporary, the old text stays. Calls are serialised within the process, so concurrent writers
/// do not mix their texts.
bool rewriteTextFile(const std::wstring& path, std::string_view bytes);

}  // namespace korvel
