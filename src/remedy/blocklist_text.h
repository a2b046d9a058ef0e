// The list of domains to block, as servers publish it: one domain a line, LF or CRLF, '#' lines are
// comments. What is no domain (an address and a name, as in a hosts file, for example) is skipped. Pure.
#pragma once

#include <string>
#include <vector>

namespace korvel {

/// Appends the domains of `list` to `domains` in lower case, each once, in the order of the list.
void appendDomains(std::string list, std::vector<std::string>& domains);

}  // namespace korvel
