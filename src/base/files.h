// File-system steps that several rooms need: status, directories, whole files, and replacing a file so
// that nobody, not even after a kill at any moment, sees it half-written.
//
// All functions are thread-safe as far as the file system is. Paths are UTF-16 and may be long.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/unique_resource.h"
#include "base/win.h"

namespace korvel {

enum class PathStatus { kExists, kMissing, kUnreadable };

/// kMissing when the system says that nothing of this name can be there: file, path, network path or share
/// not found, not a valid name, a file in the place of a directory. kUnreadable (access denied, a failing
/// device) leaves the reason in GetLastError().
PathStatus pathStatus(const std::wstring& path);
/// What an error code says about a path whose attributes could not be read.
PathStatus pathStatusFromError(DWORD code);

/// Any kind of file system object at `path`, its status readable.
inline bool pathExists(const std::wstring& path) { return pathStatus(path) == PathStatus::kExists; }

/// Creates `path` and every missing parent. True when the directory is there afterwards; GetLastError()
/// tells why it is not.
bool createDirectories(const std::wstring& path);

/// Opens an existing file for one pass over it; others may read, write and delete it meanwhile. Empty on
/// failure; GetLastError() tells why.
UniqueHandle openForReading(const std::wstring& path);

/// Reads from the file's position, which must be its beginning, to its end, also when the file grows
/// meanwhile. False when a read fails; `bytes` then holds the part before it, and GetLastError() tells why.
/// Throws std::bad_alloc when the file does not fit into memory.
bool readToEnd(HANDLE file, std::string& bytes);

/// Reads a whole file into `bytes`. The file may be open elsewhere for reading, writing and deletion.
/// False, and `bytes` empty, when it cannot be opened or read; GetLastError() tells why. Throws
/// std::bad_alloc when the file does not fit into memory.
bool readWholeFile(const std::wstring& path, std::string& bytes);

/// Writes all of `bytes`, in as many calls as it takes; false on the first failure, last error kept.
bool writeAll(HANDLE file, std::string_view bytes);

/// The new content of one file, written to a temporary beside it and moved over it at the end. An
/// instance that is dropped before commit() deletes its temporary. Not thread-safe.
class FileReplacement {
 public:
  FileReplacement(const std::wstring& target, const std::wstring& temporary);
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

/// Replaces the text file at `path` through `path` + ".tmp", so that a kill at any moment leaves the old or
/// the new text; where the temporary cannot be made or moved, rewrites the file in place. False only when
/// the file can be opened for writing in neither way. Errors while writing are not reported: a full disk
/// leaves the old text. Calls of one process take turns, so two writers of one file never tear it.
bool rewriteTextFile(const std::wstring& path, std::string_view bytes);

}  // namespace korvel
