// Every line is judged as by a plain reading of the rules; every domain of a list is valid, in lower case,
// listed once, and makes one or two entries in a block.
#include <algorithm>
#include <cstdlib>
#include <set>

#include "base/text.h"
#include "remedy/blocklist_text.h"
#include "remedy/hosts_block.h"

using namespace korvel;

namespace {

bool plainlyValid(std::string_view line) {
  constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  const std::string_view domain = trimmed(line, " \t\r\n");
  const auto has = [&](std::string_view what) { return domain.find(what) != std::string_view::npos; };
  const auto hasOneOf = [&](std::string_view set) {
    return domain.find_first_of(set) != std::string_view::npos;
  };
  return !domain.empty() && domain.size() <= 253 && !domain.starts_with('.') && !domain.ends_with('.') &&
         domain.find_first_not_of(std::string(kLetters) + "0123456789-.") == std::string_view::npos &&
         !has("..") && has(".") && hasOneOf(kLetters);
}

DomainList readInPieces(std::string_view text, size_t step) {
  DomainListReader reader;
  for (size_t at = 0; at < text.size(); at += step) reader.take(text.substr(at, step));
  DomainList list = reader.finish();
  if (list.count < list.first.size()) std::abort();
  if (list.count != list.first.size() && list.first.size() != kHostsBlockLines) std::abort();
  return list;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  LineReader lines(std::string_view(reinterpret_cast<const char*>(data), size));
  for (std::string_view line; lines.next(line);) {
    if (isValidBlockDomain(line) != plainlyValid(line)) std::abort();
  }
  // Cut into pieces, the list says the same as whole.
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::vector<std::string> domains = readInPieces(text, text.size() + 1).first;
  const size_t step = size == 0 ? 1 : size_t{data[0]} % 7 + 1;
  if (readInPieces(text, step).first != domains) std::abort();
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
