// File-system steps that several rooms need: status, directories, whole files, and replacing a file so
// that nobody, not even after a kill at any moment, sees it half-written.
//
// All functions are thread-safe as far as the file system is. Paths are UTF-16 and used as given.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/unique_resource.h"
#include "base/win.h"

namespace korvel {

enum class PathStatus { kExists, kMissing, kUnreadable };

/// kMissing for not found, path not found, bad network path, invalid name and not a directory.
/// kUnreadable leaves the reason in GetLastError().
PathStatus pathStatus(const std::wstring& path);

/// Any kind of file system object at `path`, its status readable.
inline bool pathExists(const std::wstring& path) { return pathStatus(path) == PathStatus::kExists; }

/// Creates `path` and every missing parent. True when the directory is there afterwards; GetLastError()
/// tells why it is not.
bool createDirectories(const std::wstring& path);

/// Reads a whole file into `bytes`. The file may be open elsewhere for reading, writing and deletion.
/// False when it cannot be opened or read; GetLastError() tells why. Throws std::bad_alloc when the file
/// does not fit into memory.
bool readWholeFile(const std::wstring& path, std::string& bytes);

/// Writes all of `bytes`, in as many calls as it takes; false on the first failure, last error kept.
bool writeAll(HANDLE file, std::string_view bytes);

/// The new content of one file, written to a temporary beside it and moved over it at the end. An
/// instance that is dropped before commit() deletes its temporary. Not thread-safe.
class FileReplacement {
 public:
  FileReplacement(std::wstring target, std::wstring temporary);
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  /// Creates or truncates the temporary. On failure GetLastError() tells why; nothing to clean up.
  bool open();
  /// Appends bytes to the temporary.
  bool write(std::string_view bytes);
  /// Flushes to the disk and closes the temporary: the last step that can fail for want of space.
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

/// Replaces the text file at `path` through `path` + ".tmp"; where that cannot be made or moved, rewrites
/// the file in place. False only when the file can be opened for writing in neither way.
bool rewriteTextFile(const std::wstring& path, std::string_view bytes);

}  // namespace korvel
