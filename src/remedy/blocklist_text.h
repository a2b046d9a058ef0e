// The list of domains to block, as servers publish it: one domain per line, LF or CRLF, '#' lines are
// comments. A line that is not a domain (for example an address and a name, as in a hosts file) is skipped.
// Pure.
#pragma once

#include <string>
#include <vector>

namespace korvel {

/// Appends the domains of `list` to `domains` in lower case, each once, in the order of the list.
void appendDomains(std::string list, std::vector<std::string>& domains);

}  // namespace korvel
