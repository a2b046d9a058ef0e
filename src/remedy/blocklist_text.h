// The list of domains to block, as servers publish it: one domain per line, LF or CRLF, '#' lines are
// comments. A line that is not a domain (for example an address and a name, as in a hosts file) is skipped.
// Pure; not thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/line_assembler.h"
#include "remedy/domain_set.h"

namespace korvel {

struct DomainList {
  /// In lower case, each once, in the order of the source; no more than a block of the hosts file takes.
  std::vector<std::string> first;
  uint64_t count = 0;  ///< of all domains in the source, each once
};

/// Reads one source from pieces that may be cut anywhere.
class DomainListReader {
 public:
  void take(std::string_view piece);
  /// Ends the last line and hands the list over.
  DomainList finish();

 private:
  void takeLine(std::string_view line);

  LineAssembler lines_;
  DomainSet seen_;
  DomainList list_;
};

}  // namespace korvel
