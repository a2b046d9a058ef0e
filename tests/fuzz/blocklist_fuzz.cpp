// Every domain of a list is valid, in lower case, listed once, and makes one or two entries in a block.
#include <algorithm>
#include <cstdlib>
#include <set>

#include "base/text.h"
#include "remedy/blocklist_text.h"
#include "remedy/hosts_block.h"

using namespace korvel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<std::string> domains;
  appendDomains(std::string(reinterpret_cast<const char*>(data), size), domains);
  uint64_t entries = 0;
  for (const std::string& domain : domains) {
    if (!isValidBlockDomain(domain) || domain != lowerAscii(domain)) std::abort();
    if (domain.find('\n') != std::string::npos || domain.front() == '#') std::abort();
    entries += domain.starts_with("www.") ? 1 : 2;
  }
  if (std::set<std::string>(domains.begin(), domains.end()).size() != domains.size()) std::abort();
  if (entries < kHostsBlockLines && countHostsBlockEntries(applyHostsBlock("", domains)) != entries)
    std::abort();
  return 0;
}
