// Any hosts file with any list: apply is idempotent, and removing the block after applying it leaves the
// user's lines. The input is the file, a NUL, and the list with one domain a line.
#include <algorithm>
#include <cstdlib>

#include "base/text.h"
#include "remedy/hosts_block.h"

using namespace korvel;

namespace {

/// The lines of a text without their CRs and without blank lines at its end.
std::string normalised(std::string_view text) {
  std::string result;
  size_t significant = 0;
  LineReader reader(text);
  for (std::string_view line; reader.next(line);) {
    while (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    result += line;
    result += '\n';
    if (!trimmed(line, " \t\r\n").empty()) significant = result.size();
  }
  result.resize(significant);
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::string_view hosts = input.substr(0, input.find('\0'));
  std::vector<std::string> domains;
  LineReader reader(input.substr(std::min(hosts.size() + 1, input.size())));
  for (std::string_view line; reader.next(line);) domains.emplace_back(line);

  const std::string once = applyHostsBlock(hosts, domains);
  const std::string twice = applyHostsBlock(once, domains);
  if (normalised(removeHostsBlock(once)) != normalised(removeHostsBlock(hosts))) std::abort();
  if (normalised(removeHostsBlock(twice)) != normalised(removeHostsBlock(hosts))) std::abort();
  if (hosts.find('\r') == std::string_view::npos && twice != once) std::abort();
  if (!mentionsHostsBlock(once)) std::abort();
  if (!domains.empty() && countHostsBlockEntries(once) > 2 * domains.size()) std::abort();
  return 0;
}
