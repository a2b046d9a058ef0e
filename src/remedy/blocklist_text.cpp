#include "remedy/blocklist_text.h"

#include <utility>

#include "base/text.h"
#include "remedy/hosts_block.h"

namespace korvel {

void DomainListReader::take(std::string_view piece) {
  if (!partialLine_.empty()) {
    const size_t end = piece.find('\n');
    partialLine_.append(piece.substr(0, end));
    if (end == std::string_view::npos) return;
    takeLine(partialLine_);
    partialLine_.clear();
    piece.remove_prefix(end + 1);
  }
  for (size_t end; (end = piece.find('\n')) != std::string_view::npos; piece.remove_prefix(end + 1)) {
    takeLine(piece.substr(0, end));
  }
  partialLine_.assign(piece);
}

DomainList DomainListReader::finish() {
  takeLine(partialLine_);
  partialLine_.clear();
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
