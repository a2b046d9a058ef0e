// Reads the service's log while the service writes it, and cuts it. Results are Windows error codes, 0 for
// success. Not thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/unique_resource.h"

namespace korvel::ctl {

class LogReader {
 public:
  /// The log may be missing, as before the service's first start.
  explicit LogReader(const std::wstring& path) : path_(path) {}

  /// Opens the log and reads the end of it, with at least the last `lines` lines where it has so many. Later
  /// pieces begin behind it.
  uint32_t readLast(size_t lines, std::string& text);

  /// What has been written since; `text` is empty when nothing was. A log that has become shorter is read
  /// from its beginning. One that was missing is opened when it is there.
  uint32_t readNew(std::string& text);

  /// The size of the log in bytes when it was last looked at.
  uint64_t size() const { return size_; }

 private:
  uint32_t open();
  uint32_t readAt(uint64_t offset, uint64_t bytes, std::string& text);

  const std::wstring path_;
  UniqueHandle file_;
  uint64_t position_ = 0;
  uint64_t size_ = 0;
};

struct Rotation {
  bool rotated = false;   ///< false: the log is missing, or not larger than the limit
  uint64_t bytes = 0;     ///< the size of the log before
  std::wstring keptAs;    ///< the file with what it held
  std::wstring failedAt;  ///< the path that a failure is about
};

/// Copies a log of more than `maxBytes` to "<log>.1" and empties it in place: the service keeps it open, so
/// it cannot be moved away. Older copies move on, at most `keep` stay. The copy is complete before anything
/// is removed; only a line that is written in the moment between the end of the copying and the emptying is
/// lost. A log that is a link is refused. Failures leave the log whole.
uint32_t rotateLog(const std::wstring& path, uint64_t maxBytes, uint32_t keep, Rotation& result);

}  // namespace korvel::ctl
