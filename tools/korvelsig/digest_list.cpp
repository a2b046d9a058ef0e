#include "korvelsig/digest_list.h"

#include "base/text.h"
#include "hash/hex_digest.h"
#include "korvelsig/signature_line.h"

namespace korvel::sig {

std::string digestKey(std::span<const uint8_t> digest) { return {digest.begin(), digest.end()}; }

void readAllowList(std::string_view text, DigestList& list, std::vector<Finding>& findings) {
  LineReader lines(text);
  uint64_t number = 0;
  for (std::string_view line; lines.next(line);) {
    ++number;
    line = trimmed(line, " \t\r\n");
    if (line.empty() || line.front() == '#') continue;
    const std::string_view word = line.substr(0, line.find_first_of(" \t"));
    hash::Digest digest;
    if (digest.parse(word)) {
      list.insert(digestKey(digest.bytes()));
    } else if (word.find('.') == std::string_view::npos) {
      findings.push_back(digestFinding(word, number));
    }
  }
}

}  // namespace korvel::sig
