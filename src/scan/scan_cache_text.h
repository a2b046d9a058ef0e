// The scan cache: what the last scans saw of each file. It never changes a verdict. Pure; not thread-safe.
//
// Text form, UTF-8, one line per file, LF: path|size|lastWriteTime|severity name. A line is split at its last
// three bars; a line that does not split is skipped.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "scan/scan_records.h"

namespace korvel {

struct ScanCacheEntry {
  uint64_t size = 0;           ///< bytes
  uint64_t lastWriteTime = 0;  ///< FILETIME ticks
  Severity severity = kSeverityClean;

  bool operator==(const ScanCacheEntry&) const = default;
};

class ScanCacheTable {
 public:
  /// Adds the lines of `text`; a path that is already known takes the new values.
  void parse(std::string_view text);
  std::string format() const;
  /// Remembers one file (UTF-8 path).
  void record(const std::string& path, const ScanCacheEntry& entry);
  /// Null when the path is not known. Valid until the next change.
  const ScanCacheEntry* find(const std::string& path) const;
  size_t size() const { return entries_.size(); }

 private:
  std::map<std::string, ScanCacheEntry, std::less<>> entries_;
};

}  // namespace korvel
