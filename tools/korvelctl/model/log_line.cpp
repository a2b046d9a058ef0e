#include "korvelctl/model/log_line.h"

#include <charconv>
#include <utility>

#include "base/sizes.h"

namespace korvel::ctl {
namespace {

constexpr std::string_view kPattern = "00:00:00.000 [AAA] ";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// 0 stands for a digit, A for any character, everything else for itself.
bool matches(std::string_view line, std::string_view pattern) {
  if (line.size() < pattern.size()) return false;
  for (size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == '0' ? !isDigit(line[i]) : pattern[i] != 'A' && pattern[i] != line[i]) return false;
  }
  return true;
}

}  // namespace

LogLine parseLogLine(std::string_view line) {
  if (!matches(line, kPattern)) return {{}, {}, std::string(line)};
  return {std::string(line.substr(0, 12)), std::string(line.substr(14, 3)), std::string(line.substr(19))};
}

size_t beginOfLastLines(std::string_view text, size_t count) {
  if (count == 0) return text.size();
  size_t at = text.ends_with('\n') ? text.size() - 1 : text.size();
  while (at > 0) {
    if (text[at - 1] == '\n' && --count == 0) return at;
    --at;
  }
  return 0;
}

std::vector<std::string> LineCollector::take(std::string_view piece) {
  std::vector<std::string> lines;
  for (size_t end; (end = piece.find('\n')) != std::string_view::npos; piece.remove_prefix(end + 1)) {
    begun_ += piece.substr(0, end);
    lines.push_back(std::move(begun_));
    begun_.clear();
  }
  begun_ += piece;
  return lines;
}

std::string LineCollector::rest() { return std::exchange(begun_, {}); }

std::optional<uint64_t> parseSize(std::string_view text) {
  uint64_t unit = 1;
  if (!text.empty()) {
    switch (text.back()) {
      case 'k':
      case 'K':
        unit = kKiB;
        break;
      case 'm':
      case 'M':
        unit = kMiB;
        break;
      case 'g':
      case 'G':
        unit = kMiB * kKiB;
        break;
      default:
        break;
    }
  }
  if (unit > 1) text.remove_suffix(1);
  uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data(), end, number);
  if (problem != std::errc() || stop != end || number > (uint64_t{1} << 63) / unit) return std::nullopt;
  return number * unit;
}

std::vector<LogMove> logMoves(const std::wstring& log, uint32_t keep) {
  std::vector<LogMove> moves;
  for (uint32_t part = keep; part > 1; --part) {
    moves.push_back({log + L"." + std::to_wstring(part - 1), log + L"." + std::to_wstring(part)});
  }
  return moves;
}

}  // namespace korvel::ctl
