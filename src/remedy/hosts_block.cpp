#include "remedy/hosts_block.h"

#include "base/text.h"

namespace korvel {
namespace {

constexpr std::string_view kBeginMarker = "# KORVEL WEB SHIELD BEGIN";
constexpr std::string_view kEndMarker = "# KORVEL WEB SHIELD END";
constexpr std::string_view kEntryStart = "127.0.0.1 ";
constexpr std::string_view kEntryEnd = " # korvel-blocked";
constexpr std::string_view kBlanks = " \t\r\n";
constexpr size_t kMaxDomainBytes = 253;

bool isBlank(std::string_view line) { return trimmed(line, kBlanks).empty(); }

/// Calls `visit(line, kind)` for each line, which comes without its LF and one CR.
template <typename Visit>
void forEachLine(std::string_view hosts, const Visit& visit) {
  HostsLine place = HostsLine::kOutside;
  LineReader reader(hosts);
  for (std::string_view line; reader.next(line);) {
    const std::string_view text = trimmed(line, kBlanks);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (text == kBeginMarker) {
      place = HostsLine::kInside;
      visit(line, HostsLine::kBegin);
    } else if (text == kEndMarker) {
      place = HostsLine::kOutside;
      visit(line, HostsLine::kEnd);
    } else {
      visit(line, place);
    }
  }
}

std::vector<std::string_view> linesOutsideBlock(std::string_view hosts) {
  std::vector<std::string_view> kept;
  forEachLine(hosts, [&kept](std::string_view line, HostsLine kind) {
    if (kind == HostsLine::kOutside) kept.push_back(line);
  });
  return kept;
}

std::string joinLines(const std::vector<std::string_view>& lines) {
  std::string text;
  for (const std::string_view line : lines) {
    text += line;
    text += '\n';
  }
  return text;
}

void appendEntry(std::string& text, std::string_view prefix, std::string_view domain) {
  text += kEntryStart;
  text += prefix;
  text += domain;
  text += kEntryEnd;
  text += '\n';
}

void appendMarker(std::string& text, std::string_view marker) {
  text += marker;
  text += '\n';
}

}  // namespace

bool isValidBlockDomain(std::string_view domain) {
  domain = trimmed(domain, kBlanks);
  if (domain.empty() || domain.size() > kMaxDomainBytes) return false;
  if (domain.front() == '.' || domain.back() == '.') return false;
  bool letter = false;
  bool dot = false;
  char previous = '\0';
  for (const char c : domain) {
    const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    const bool isDigit = c >= '0' && c <= '9';
    if (!isLetter && !isDigit && c != '-' && c != '.') return false;
    if (c == '.' && previous == '.') return false;
    letter = letter || isLetter;
    dot = dot || c == '.';
    previous = c;
  }
  return letter && dot;
}

std::string applyHostsBlock(std::string_view hosts, const std::vector<std::string>& domains) {
  std::vector<std::string_view> kept = linesOutsideBlock(hosts);
  while (!kept.empty() && isBlank(kept.back())) kept.pop_back();
  std::string text = joinLines(kept);
  text += '\n';
  appendMarker(text, kBeginMarker);

  uint64_t lines = 2;  // the markers
  for (const std::string& given : domains) {
    if (lines > kHostsBlockLines) break;
    if (!isValidBlockDomain(given)) continue;
    const std::string domain =
        lowerAscii(given);  // as given: the check ignores blanks around it, the entry keeps them
    appendEntry(text, "", domain);
    ++lines;
    if (domain.starts_with("www.")) continue;
    appendEntry(text, "www.", domain);
    ++lines;
  }
  appendMarker(text, kEndMarker);
  return text;
}

bool mentionsHostsBlock(std::string_view hosts) {
  return hosts.find(kBeginMarker) != std::string_view::npos ||
         hosts.find(kEndMarker) != std::string_view::npos;
}

std::string removeHostsBlock(std::string_view hosts) { return joinLines(linesOutsideBlock(hosts)); }

uint64_t countHostsBlockEntries(std::string_view hosts) {
  uint64_t entries = 0;
  forEachLine(hosts, [&entries](std::string_view line, HostsLine kind) {
    if (kind == HostsLine::kInside && !isBlank(line)) ++entries;
  });
  return entries;
}

void visitHostsLines(std::string_view hosts, const HostsLineVisitor& visit) { forEachLine(hosts, visit); }

std::string_view blockedName(std::string_view line) {
  if (!line.starts_with(kEntryStart) || !line.ends_with(kEntryEnd)) return {};
  if (line.size() < kEntryStart.size() + kEntryEnd.size()) return {};
  line.remove_prefix(kEntryStart.size());
  line.remove_suffix(kEntryEnd.size());
  return line;
}

}  // namespace korvel
