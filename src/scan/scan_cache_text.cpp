#include "scan/scan_cache_text.h"

#include <charconv>

#include "base/text.h"

namespace korvel {
namespace {

constexpr char kSeparator = '|';

/// Takes the text after the last bar off `line`; false when there is no bar.
bool takeLastField(std::string_view& line, std::string_view& field) {
  const size_t bar = line.rfind(kSeparator);
  if (bar == std::string_view::npos) return false;
  field = line.substr(bar + 1);
  line = line.substr(0, bar);
  return true;
}

/// A decimal number and nothing else.
bool parseNumber(std::string_view text, uint64_t& value) {
  const char* end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data(), end, value);
  return problem == std::errc() && stop == end;
}

/// A path with a line feed would read as two lines. Windows does not create one.
bool breaksLines(std::string_view path) { return path.find('\n') != std::string_view::npos; }

}  // namespace

void ScanCacheTable::parse(std::string_view text) {
  LineReader lines(text);
  for (std::string_view line; lines.next(line);) {
    std::string_view size, lastWriteTime, severity;
    ScanCacheEntry entry;
    // From the back: the numbers and names contain no bar, but a path may.
    if (!takeLastField(line, severity) || !takeLastField(line, lastWriteTime) || !takeLastField(line, size))
      continue;
    if (!parseNumber(size, entry.size) || !parseNumber(lastWriteTime, entry.lastWriteTime)) continue;
    entry.severity = parseSeverity(severity);
    record(std::string(line), entry);
  }
}

std::string ScanCacheTable::format() const {
  std::string text;
  for (const auto& [path, entry] : entries_) {
    text += path;
    text += kSeparator;
    text += std::to_string(entry.size);
    text += kSeparator;
    text += std::to_string(entry.lastWriteTime);
    text += kSeparator;
    text += severityName(entry.severity);
    text += '\n';
  }
  return text;
}

void ScanCacheTable::record(const std::string& path, const ScanCacheEntry& entry) {
  if (path.empty() || breaksLines(path)) return;
  entries_.insert_or_assign(path, entry);
}

const ScanCacheEntry* ScanCacheTable::find(const std::string& path) const {
  const auto entry = entries_.find(path);
  return entry == entries_.end() ? nullptr : &entry->second;
}

}  // namespace korvel
