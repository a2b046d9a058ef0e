// The scan cache on the disk: what the last scans saw of each file. It never changes a verdict. Thread-safe.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "base/mutex.h"
#include "scan/scan_cache_text.h"

namespace korvel {

class ScanCache {
 public:
  /// Adds the entries of the cache file at `path`; a scanned file that is already known takes the new values.
  /// False, and nothing changed, when the cache file cannot be read, as at the first start, or has more than
  /// 256 MiB. False, and the cache empty, when its entries do not fit into memory.
  bool load(const std::wstring& path) EXCLUDES(mutex_);

  /// Remembers one scanned file.
  void record(const std::wstring& path, const ScanCacheEntry& entry) EXCLUDES(mutex_);

  /// Replaces the file at `path` as rewriteTextFile() does. False when it cannot be opened for writing.
  bool save(const std::wstring& path) const EXCLUDES(mutex_);

  /// The entry of a file, if it has one.
  std::optional<ScanCacheEntry> find(const std::wstring& path) const EXCLUDES(mutex_);
  size_t size() const EXCLUDES(mutex_);

 private:
  // Held during a save, so that the newest table is the last to reach the disk. Taken before mutex_.
  mutable Mutex saveMutex_;
  // Held only to read or change the table.
  mutable Mutex mutex_;
  ScanCacheTable table_ GUARDED_BY(mutex_);
};

}  // namespace korvel
