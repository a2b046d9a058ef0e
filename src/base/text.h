// Small text operations. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace korvel {

/// Lower-cases A-Z; every other byte is unchanged.
std::string lowerAscii(std::string_view text);

/// Lower-cases a path or file name unit by unit: ASCII, Latin-1, Greek and Cyrillic letters. No locale.
std::wstring lowerWide(std::wstring_view text);

/// `text` without the characters of `strip` at both ends.
std::string_view trimmed(std::string_view text, std::string_view strip);

/// strtoull in base 10: leading white space and a sign are accepted, reading stops at the first
/// non-digit, no digits give 0, too large a number gives 2^64 - 1.
uint64_t parseUnsigned(const std::string& text);

/// Iterates over the lines of a text, split at LF only. The last line needs no LF; a final LF does not start
/// an empty line. The text must outlive the reader.
class LineReader {
 public:
  explicit LineReader(std::string_view text) : rest_(text) {}
  bool next(std::string_view& line);

 private:
  std::string_view rest_;
};

}  // namespace korvel
