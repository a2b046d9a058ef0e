#include "korvelctl/model/shield_block.h"

#include <unordered_set>

#include "base/text.h"
#include "remedy/hosts_block.h"

namespace korvel::ctl {
namespace {

constexpr std::string_view kBlanksAndEnds = " \t\r\n";
constexpr size_t kForeignLinesKept = 10;

std::string_view withoutWww(std::string_view domain) {
  return domain.starts_with("www.") ? domain.substr(4) : domain;
}

}  // namespace

ShieldBlock inspectShieldBlock(std::string_view hosts) {
  ShieldBlock block;
  std::unordered_set<std::string_view> names;
  std::unordered_set<std::string_view> domains;
  bool open = false;
  visitHostsLines(hosts, [&](std::string_view line, HostsLine kind) {
    ++block.lines;
    const std::string_view name = blockedName(line);
    switch (kind) {
      case HostsLine::kBegin:
        ++block.blocks;
        open = true;
        break;
      case HostsLine::kEnd:
        open = false;
        break;
      case HostsLine::kInside:
        if (trimmed(line, kBlanksAndEnds).empty()) break;
        if (name.empty()) {
          ++block.foreign;
          if (block.foreignLines.size() < kForeignLinesKept) block.foreignLines.emplace_back(line);
          break;
        }
        ++block.entries;
        if (!names.insert(name).second) ++block.duplicates;
        domains.insert(withoutWww(name));
        break;
      case HostsLine::kOutside:
        if (!name.empty()) ++block.leftBehind;
        if (const std::string_view text = trimmed(line, kBlanksAndEnds); !text.empty() && text.front() != '#')
          ++block.userLines;
        break;
    }
  });
  block.unclosed = open;
  block.domains = domains.size();
  return block;
}

}  // namespace korvel::ctl
