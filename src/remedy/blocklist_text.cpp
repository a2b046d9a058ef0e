#include "remedy/blocklist_text.h"

#include <utility>

#include "base/text.h"
#include "remedy/hosts_block.h"

namespace korvel {

void DomainListReader::take(std::string_view piece) {
  lines_.take(piece, [this](std::string_view line) { takeLine(line); });
}

DomainList DomainListReader::finish() {
  lines_.finish([this](std::string_view line) { takeLine(line); });
  seen_ = {};
  return std::exchange(list_, {});
}

void DomainListReader::takeLine(std::string_view line) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  if (line.empty() || line.front() == '#' || !isValidBlockDomain(line)) return;
  std::string domain = lowerAscii(line);
  if (!seen_.insert(domain)) return;
  ++list_.count;
  // Each domain takes at least one line of the block.
  if (list_.first.size() < kHostsBlockLines) list_.first.push_back(std::move(domain));
}

}  // namespace korvel
