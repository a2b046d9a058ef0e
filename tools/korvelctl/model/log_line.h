// The lines of the service's log, and the names of its older parts. Pure and thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korvel::ctl {

/// A line of the log. A line that is the rest of a longer one, or was written by the crash handler, has only
/// a text.
struct LogLine {
  std::string time;   ///< "HH:MM:SS.mmm", local time of the service's machine, without a date
  std::string level;  ///< "DBG", "INF", "WRN", "ERR" or "???"
  std::string text;   ///< UTF-8 as it stands in the file

  bool operator==(const LogLine&) const = default;
};
LogLine parseLogLine(std::string_view line);

/// Where the last `count` lines of `text` begin. The line feed at the end of the text begins no line.
size_t beginOfLastLines(std::string_view text, size_t count);

/// Collects whole lines out of pieces of a growing file. A line without its end waits for the next piece.
class LineCollector {
 public:
  std::vector<std::string> take(std::string_view piece);
  /// What has no end yet; forgotten by this call.
  std::string rest();

 private:
  std::string begun_;
};

/// "10M", "512K", "1G" or a number of bytes, in steps of 1,024; nothing for every other text and beyond 2^63.
std::optional<uint64_t> parseSize(std::string_view text);

/// One renaming of a rotation.
struct LogMove {
  std::wstring from;
  std::wstring to;
  bool operator==(const LogMove&) const = default;
};
/// The renamings that make room for a new "<log>.1" beside at most `keep` - 1 older parts, in their order;
/// the last part is replaced. `keep` is at least 1.
std::vector<LogMove> logMoves(const std::wstring& log, uint32_t keep);

}  // namespace korvel::ctl
