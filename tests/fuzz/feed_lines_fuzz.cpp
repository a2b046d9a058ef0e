// A feed cut into pieces gives the same digests as the whole text, and each line the same as a
// plain reading of it; the set and its text agree with a plain ordered set. The first byte chooses the cut.
#include <charconv>
#include <cstdlib>
#include <set>

#include "base/text.h"
#include "net/feed_text.h"

using namespace korvel;

namespace {

/// The rules one after another, without the decoder's short cuts.
std::optional<FeedKey> plainKeyOfLine(std::string_view line) {
  const std::string_view text = trimmed(line, " \t\r\n");
  const std::string_view token = text.substr(0, text.find_first_of(" \t"));
  constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
  if (token.size() != 64 || token.find_first_not_of(kDigits) != std::string_view::npos) return std::nullopt;
  FeedKey key{};
  for (size_t i = 0; i < key.size(); ++i) {
    std::from_chars(token.data() + 16 * i, token.data() + 16 * i + 16, key[i], 16);
  }
  return key;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const size_t step = size_t{data[0]} + 1;
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);

  std::vector<FeedKey> expected;
  LineReader lines(text);
  for (std::string_view line; lines.next(line);) {
    const std::optional<FeedKey> key = feedKeyOfLine(line);
    if (key != plainKeyOfLine(line)) std::abort();
    if (key) expected.push_back(*key);
  }
  FeedReader reader;
  for (size_t at = 0; at < text.size(); at += step) reader.take(text.substr(at, step));
  std::vector<FeedKey> keys = reader.finish();
  if (keys != expected) std::abort();

  const std::set<FeedKey> ordered(keys.begin(), keys.end());
  const size_t half = keys.size() / 2;
  FeedSet set;
  set.add({keys.begin(), keys.begin() + static_cast<std::ptrdiff_t>(half)});
  set.add({keys.begin() + static_cast<std::ptrdiff_t>(half), keys.end()});
  if (set.size() != ordered.size()) std::abort();

  FeedReader again;
  renderLiveDatabase(set, 0, [&again](std::string_view piece) {
    again.take(piece);
    return true;
  });
  if (again.finish() != std::vector<FeedKey>(ordered.begin(), ordered.end())) std::abort();
  return 0;
}
