#include "remedy/blocklist_text.h"

#include <string_view>
#include <unordered_set>

#include "base/text.h"
#include "remedy/hosts_block.h"

namespace korvel {

void appendDomains(std::string list, std::vector<std::string>& domains) {
  // Lower-cased whole, so that the set can refer to the lines instead of copying them.
  list = lowerAscii(list);
  std::unordered_set<std::string_view> seen;
  LineReader reader(list);
  for (std::string_view line; reader.next(line);) {
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.empty() || line.front() == '#') continue;
    if (isValidBlockDomain(line) && seen.insert(line).second) domains.emplace_back(line);
  }
}

}  // namespace korvel
