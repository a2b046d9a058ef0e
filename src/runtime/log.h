// The service's one log: timestamped English lines, appended forever to korvel.log and echoed to the
// debugger output. Thread-safe.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "base/mutex.h"

namespace korvel {

/// Level numbers as they are compared with the minimum; other numbers print as "???".
enum LogLevel : int32_t { kLogDebug = 0, kLogInfo = 1, kLogWarning = 2, kLogError = 3 };

class Log {
 public:
  /// The one log of this process, there from the first call until the process ends.
  static Log& instance();

  /// Closes the current file, creates the parent directories of `path` and opens it for appending. When
  /// that fails, lines still reach the debugger output.
  void open(const std::wstring& path) EXCLUDES(mutex_);

  /// Writes one line: "HH:MM:SS.mmm [TAG] text" and a line feed, local time, no date. `text` is UTF-8 without
  /// a trailing line feed. Levels below "info" are dropped. A line longer than 2,047 bytes is cut there and
  /// loses its line feed, so the next line continues it.
  void write(int32_t level, const std::string& text) EXCLUDES(mutex_);

  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

 private:
  Log() = default;
  ~Log() = delete;

  Mutex mutex_;
  std::FILE* stream_ GUARDED_BY(mutex_) = nullptr;
  const int32_t minLevel_ = kLogInfo;
};

/// An INF line that begins with the product's name: the service's life as an operator follows it.
void serviceLog(const std::string& text);

}  // namespace korvel
