// File-system operations: path status, directories, whole files, and replacing a file so that it is never
// seen half-written, even when the process is killed.
//
// All functions are as thread-safe as the file system. Paths are UTF-16 and may be long.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "base/stop.h"
#include "base/unique_resource.h"
#include "base/win.h"

namespace korvel {

/// For every open of a path that a client or a settings file has named, and of pipes. The server of a pipe
/// then learns nothing about this process and cannot act in its name.
inline constexpr DWORD kOpenAnonymously = SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS;

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
/// The same, but if `path` itself is made here, only the system and the administrators have access to it and
/// to what is made in it. A directory that is there already keeps its access list.
bool createProtectedDirectory(const std::wstring& path);

inline constexpr uint64_t kAnySize = UINT64_MAX;

/// Opens an existing file on a disk for sequential reading; others may read, write and delete it meanwhile.
/// A pipe or a device is refused, because reading it may never end, and so is a file of more than `maxBytes`
/// (ERROR_FILE_TOO_LARGE). Empty on failure, with the reason in GetLastError().
UniqueHandle openForReading(const std::wstring& path, uint64_t maxBytes = kAnySize);

/// Reads the whole file, whose position must be at the beginning, also when it grows meanwhile, but not
/// beyond `maxBytes`. False when a read fails or the file is larger; `bytes` then holds what was read before,
/// and the reason is in GetLastError(). Throws std::bad_alloc when the file does not fit into memory.
bool readToEnd(HANDLE file, std::string& bytes, uint64_t maxBytes = kAnySize);

/// Reads a whole file into `bytes`, with the rules of openForReading(). False, with `bytes` empty and the
/// reason in GetLastError(), when it cannot be opened or read. Throws std::bad_alloc when the file does not
/// fit into memory.
bool readWholeFile(const std::wstring& path, std::string& bytes, uint64_t maxBytes = kAnySize);

/// Writes all of `bytes`, in several calls if necessary. False on the first failure, with the reason in
/// GetLastError().
bool writeAll(HANDLE file, std::string_view bytes);

/// Runs `attempt`, which leaves its reason in GetLastError(), until it succeeds: up to five times within half
/// a second, as long as another program seems to hold a file (access denied, sharing or lock violation). The
/// result is that of the last attempt. A stop ends the tries.
bool tryWhileHeld(const std::function<bool()>& attempt, const StopToken& stop = {});

/// Replaces the content of one file: writes a temporary file and moves it over the target at the end. An
/// instance destroyed before commit() deletes its temporary. Not thread-safe.
class FileReplacement {
 public:
  FileReplacement(const std::wstring& target, const std::wstring& temporary);
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  /// Creates the temporary anew, with the access list of the target where there is one. A file that lies
  /// there is deleted and never written, be it a link to another one. On failure the reason is in
  /// GetLastError().
  bool open();
  /// Appends bytes to the temporary.
  bool write(std::string_view bytes);
  /// Flushes the temporary to the disk and closes it. The last step that can fail because the disk is full.
  bool finish();
  /// Moves the finished temporary over the target. `clearAttributes` first resets the target's attributes,
  /// so that a read-only target can be replaced; they are not put back. A target that is held is tried again
  /// as tryWhileHeld() does. On failure the temporary is deleted, the target stays as it was, and
  /// GetLastError() holds the move's code.
  bool commit(bool clearAttributes, const StopToken& stop = {});

 private:
  std::wstring target_;
  std::wstring temporary_;
  UniqueHandle file_;
  bool temporaryExists_ = false;
};

/// The right to rewrite the file at `path`, which one thread of this process has at a time; the constructor
/// waits for it. Other files are not held up.
class RewriteTurn {
 public:
  explicit RewriteTurn(const std::wstring& path);
  ~RewriteTurn();
  RewriteTurn(const RewriteTurn&) = delete;
  RewriteTurn& operator=(const RewriteTurn&) = delete;

 private:
  const std::wstring path_;
};

/// Replaces the text file at `path` through `path` + ".tmp", so that a kill at any moment leaves the old or
/// the new text. If the temporary cannot be created or moved, rewrites the file in place instead. False only
/// when the file cannot be opened for writing either way. Write errors are not reported: when the disk is too
/// full for the temporary, the old text stays. Calls for one file take turns (RewriteTurn), so concurrent
/// writers do not mix their texts. A file that is held is tried again as tryWhileHeld() does.
bool rewriteTextFile(const std::wstring& path, std::string_view bytes, const StopToken& stop = {});

}  // namespace korvel
