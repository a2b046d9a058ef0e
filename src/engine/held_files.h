// The changed files that another program kept the watcher from opening: a program that writes a file may go
// on holding it after the last notification, so the watcher tries again. Pure: the caller gives the time. Not
// thread-safe.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "scan/scan_records.h"

namespace korvel::svc {

/// Each notification of a file begins its tries anew. However many there are, a file has one event: a held
/// one is judged when it can be read at last, or by its name after the last try. Times are milliseconds of
/// one clock that never goes back.
class HeldFiles {
 public:
  /// When a held file is tried again, in milliseconds from its last notification, ascending.
  using Delays = std::array<uint32_t, 3>;
  static constexpr Delays kDelays = {500, 2'000, 10'000};
  /// Files that wait at the same time; one more is judged by its name at once.
  static constexpr size_t kMostFiles = 1'000;
  /// For so long, a file that had its event is not reported again unless it has changed.
  static constexpr uint64_t kRememberedMs = 10'000;
  static constexpr uint32_t kNoTry = UINT32_MAX;

  struct Try {
    std::wstring path;
    bool last = false;
  };

  explicit HeldFiles(const Delays& delays = kDelays) : delays_(delays) {}

  /// For the verdict of a file that was notified. True when it is to be judged; false when the file waits for
  /// another try, or has had its event.
  bool afterNotification(const FileVerdict& verdict, uint64_t nowMs);
  /// The same for the verdict of a try that nextDue() has given.
  bool afterTry(const FileVerdict& verdict, bool last, uint64_t nowMs);

  /// A try that is due, if there is one; it counts as made. After its last one a file waits no longer.
  std::optional<Try> nextDue(uint64_t nowMs);
  /// Milliseconds until nextDue() has a try; kNoTry when no file waits.
  uint32_t untilNextDue(uint64_t nowMs) const;

 private:
  struct Waiting {
    uint64_t notified;
    size_t triesMade;  // fewer than delays_ has
  };
  struct Reported {
    bool held;  // by its name only
    uint64_t size;
    uint64_t lastWriteTime;
    uint64_t until;
  };

  uint64_t dueAt(const Waiting& file) const { return file.notified + delays_[file.triesMade]; }
  bool judge(const FileVerdict& verdict, bool waited, uint64_t nowMs);
  bool wasReported(const FileVerdict& verdict, uint64_t nowMs);

  const Delays delays_;
  std::map<std::wstring, Waiting> waiting_;
  std::map<std::wstring, Reported> reported_;
};

}  // namespace korvel::svc
