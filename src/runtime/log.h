// The log of the process: timestamped lines, appended to korvel.log, which is never truncated, and echoed to
// the debugger output. Thread-safe.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "base/mutex.h"

namespace korvel {

/// Log levels, compared numerically with the minimum level; other numbers print as "???".
enum LogLevel : int32_t { kLogDebug = 0, kLogInfo = 1, kLogWarning = 2, kLogError = 3 };

class Log {
 public:
  /// The log of this process. It exists from the first call until the process ends.
  static Log& instance();

  /// Closes the current file, creates the parent directories of `path` and opens it for appending. If that
  /// fails, lines are written only to the debugger output.
  void open(const std::wstring& path) EXCLUDES(mutex_);

  /// Writes one line: "HH:MM:SS.mmm [TAG] text" and a line feed, local time, no date. `text` is UTF-8 without
  /// a trailing line feed. Levels below "info" are dropped. A line longer than 2,047 bytes is cut there and
  /// loses its line feed, so the next line continues it. Needs no memory: it tells of failures for want of
  /// it.
  void write(int32_t level, std::string_view text) EXCLUDES(mutex_);

  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

 private:
  Log() = default;
  ~Log() = delete;

  Mutex mutex_;
  std::FILE* stream_ GUARDED_BY(mutex_) = nullptr;
  const int32_t minLevel_ = kLogInfo;
};

/// Writes an INF line that begins with the product's name, for events in the life of the service. Needs no
/// memory either.
void serviceLog(std::string_view text);

}  // namespace korvel
