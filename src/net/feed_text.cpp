#include "net/feed_text.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

#include "base/text.h"

namespace korvel {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr size_t kHexDigits = 2 * sizeof(FeedKey);
constexpr size_t kRenderPieceBytes = 64 * 1024;

// Eight characters at a time, one a byte of a 64-bit word. Sums below stay within their byte as long as every
// character is ASCII, which is checked with the rest.
constexpr uint64_t kEach = 0x0101010101010101;
constexpr uint64_t kHighBits = 0x80 * kEach;

/// The high bit of each byte that lies between two ASCII characters.
constexpr uint64_t inRange(uint64_t bytes, unsigned char low, unsigned char high) {
  return (bytes + (0x80u - low) * kEach) & ~(bytes + (0x7Fu - high) * kEach) & kHighBits;
}

/// Eight hexadecimal digits as the number they spell; false when one is none.
bool decodeHex8(const char* text, uint32_t& value) {
  uint64_t bytes = 0;
  for (size_t i = 0; i < 8; ++i) bytes |= uint64_t{static_cast<unsigned char>(text[i])} << (8 * i);
  const uint64_t digits = inRange(bytes, '0', '9');
  const uint64_t letters = inRange(bytes | 0x20 * kEach, 'a', 'f');
  if ((bytes & kHighBits) != 0 || (digits | letters) != kHighBits) return false;
  const uint64_t nibbles = (bytes & 0x0F * kEach) + 9 * (letters >> 7);
  // Neighbours join, the first character above the second: nibbles to bytes, bytes to pairs, pairs to the
  // whole.
  uint64_t joined = (nibbles << 4 | nibbles >> 8) & 0x00FF00FF00FF00FF;
  joined = (joined << 8 | joined >> 16) & 0x0000FFFF0000FFFF;
  value = static_cast<uint32_t>(joined << 16 | joined >> 32);
  return true;
}

bool decodeHex(const char* text, FeedKey& key) {
  for (size_t i = 0; i < key.size(); ++i) {
    uint32_t high = 0;
    uint32_t low = 0;
    if (!decodeHex8(text + 16 * i, high) || !decodeHex8(text + 16 * i + 8, low)) return false;
    key[i] = uint64_t{high} << 32 | low;
  }
  return true;
}

constexpr std::array<std::array<char, 2>, 256> makeHexPairs() {
  constexpr char kDigits[] = "0123456789abcdef";
  std::array<std::array<char, 2>, 256> pairs{};
  for (size_t byte = 0; byte < pairs.size(); ++byte) pairs[byte] = {kDigits[byte >> 4], kDigits[byte & 0x0F]};
  return pairs;
}

void appendHexLine(const FeedKey& key, std::string& text) {
  static constexpr auto kHexPairs = makeHexPairs();
  char line[kHexDigits + 1];
  char* to = line;
  for (const uint64_t word : key) {
    for (int shift = 56; shift >= 0; shift -= 8)
      to = std::copy_n(kHexPairs[word >> shift & 0xFF].data(), 2, to);
  }
  *to = '\n';
  text.append(line, sizeof line);
}

// --- sorting ---

constexpr size_t kBuckets = 256;
constexpr ptrdiff_t kSmallRange = 64;  // below this, a comparing sort is faster than counting

/// Sorts keys that agree in the bits of their first word above `shift` + 8: into buckets by the next eight
/// bits, in place, then each bucket. When the first word is used up, what is left to order is a feed made to
/// be slow; it gets an ordinary sort.
void sortByFirstWord(FeedKey* begin, FeedKey* end, int shift) {
  if (end - begin < kSmallRange || shift < 0) return std::sort(begin, end);
  const auto bucketOf = [shift](const FeedKey& key) { return static_cast<size_t>(key[0] >> shift & 0xFF); };
  std::array<size_t, kBuckets> count{};
  for (const FeedKey* key = begin; key != end; ++key) ++count[bucketOf(*key)];

  std::array<FeedKey*, kBuckets> next;
  std::array<FeedKey*, kBuckets> bucketEnd;
  FeedKey* at = begin;
  for (size_t bucket = 0; bucket < kBuckets; ++bucket) {
    next[bucket] = at;
    bucketEnd[bucket] = at += count[bucket];
  }
  // Every swap brings one digest home; a second copy would be faster and double the memory.
  for (size_t bucket = 0; bucket < kBuckets; ++bucket) {
    while (next[bucket] != bucketEnd[bucket]) {
      const size_t home = bucketOf(*next[bucket]);
      if (home != bucket) std::swap(*next[bucket], *next[home]);
      ++next[home];
    }
  }
  for (size_t bucket = 0; bucket < kBuckets; ++bucket) {
    if (count[bucket] > 1) sortByFirstWord(bucketEnd[bucket] - count[bucket], bucketEnd[bucket], shift - 8);
  }
}

/// Removes from `keys` what stands in `others`; both ascend and hold no duplicates.
void removeCommon(std::vector<FeedKey>& keys, const std::vector<FeedKey>& others) {
  auto other = others.begin();
  const auto listed = [&](const FeedKey& key) {
    while (other != others.end() && *other < key) ++other;
    return other != others.end() && *other == key;
  };
  keys.erase(std::remove_if(keys.begin(), keys.end(), std::ref(listed)), keys.end());
}

}  // namespace

std::optional<FeedKey> feedKeyOfLine(std::string_view line) {
  const std::string_view text = trimmed(line, kBlanks);
  if (text.size() < kHexDigits) return std::nullopt;
  // The digest ends at the first blank or with the line; digits are no blanks and no "#", so nothing else
  // about blanks and comments is left to be asked.
  if (text.size() > kHexDigits && text[kHexDigits] != ' ' && text[kHexDigits] != '\t') return std::nullopt;
  FeedKey key;
  if (!decodeHex(text.data(), key)) return std::nullopt;
  return key;
}

void FeedReader::take(std::string_view piece) {
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

std::vector<FeedKey> FeedReader::finish() {
  takeLine(partialLine_);
  partialLine_.clear();
  return std::exchange(keys_, {});
}

void FeedReader::takeLine(std::string_view line) {
  if (const std::optional<FeedKey> key = feedKeyOfLine(line)) keys_.push_back(*key);
}

void sortFeedKeys(std::vector<FeedKey>& keys) {
  if (std::is_sorted(keys.begin(), keys.end())) return;  // an update server publishes sorted lists
  sortByFirstWord(keys.data(), keys.data() + keys.size(), 56);
}

bool FeedSet::add(std::vector<FeedKey> keys) {
  sortFeedKeys(keys);
  keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
  for (const std::vector<FeedKey>& run : runs_) removeCommon(keys, run);
  size_ += keys.size();
  if (!keys.empty()) runs_.push_back(std::move(keys));
  return size_ <= kMaxFeedHashes;
}

std::string liveVersion(uint64_t unixSeconds) {
  const std::chrono::sys_seconds time{std::chrono::seconds(unixSeconds)};
  const std::chrono::year_month_day day{std::chrono::floor<std::chrono::days>(time)};
  char text[40];
  std::snprintf(text, sizeof text, "live-%04u%02u%02u", static_cast<unsigned>(static_cast<int>(day.year())),
                static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()));
  return text;
}

bool renderLiveDatabase(const FeedSet& set, uint64_t unixSeconds,
                        const std::function<bool(std::string_view)>& write) {
  std::string piece;
  piece.reserve(kRenderPieceBytes + kHexDigits + 1);
  piece = "# KORVEL live signature database (auto-updated, do not edit)\nKORVELDB/1\nVERSION " +
          liveVersion(unixSeconds) + "\nGENERATED " + std::to_string(unixSeconds) + "\nSIZE " +
          std::to_string(set.size()) + "\n";
  const bool complete = set.inOrder([&](const FeedKey& key) {
    appendHexLine(key, piece);
    if (piece.size() < kRenderPieceBytes) return true;
    const bool written = write(piece);
    piece.clear();
    return written;
  });
  return complete && (piece.empty() || write(piece));
}

}  // namespace korvel
