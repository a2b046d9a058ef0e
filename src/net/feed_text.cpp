#include "net/feed_text.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

#include "base/sizes.h"
#include "base/text.h"
#include "hash/hex_digest.h"

namespace korvel {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr size_t kHexDigits = 2 * sizeof(FeedKey);
constexpr size_t kRenderPieceBytes = 64 * kKiB;

// Written out, so that the compiler sees one move and one byte swap in each.
uint64_t bigEndianWord(const uint8_t* from) {
  return uint64_t{from[0]} << 56 | uint64_t{from[1]} << 48 | uint64_t{from[2]} << 40 |
         uint64_t{from[3]} << 32 | uint64_t{from[4]} << 24 | uint64_t{from[5]} << 16 |
         uint64_t{from[6]} << 8 | from[7];
}

void putBigEndian(uint64_t word, uint8_t* to) {
  to[0] = static_cast<uint8_t>(word >> 56);
  to[1] = static_cast<uint8_t>(word >> 48);
  to[2] = static_cast<uint8_t>(word >> 40);
  to[3] = static_cast<uint8_t>(word >> 32);
  to[4] = static_cast<uint8_t>(word >> 24);
  to[5] = static_cast<uint8_t>(word >> 16);
  to[6] = static_cast<uint8_t>(word >> 8);
  to[7] = static_cast<uint8_t>(word);
}

void appendHexLine(const FeedKey& key, std::string& text) {
  std::array<uint8_t, sizeof(FeedKey)> bytes;
  for (size_t i = 0; i < key.size(); ++i) putBigEndian(key[i], &bytes[8 * i]);
  char line[kHexDigits + 1];
  hash::encodeHex(bytes, line);
  line[kHexDigits] = '\n';
  text.append(line, sizeof line);
}

// --- sorting ---

constexpr size_t kBuckets = 256;
constexpr ptrdiff_t kSmallRange = 64;  // below this, a comparing sort is faster than counting

/// Sorts keys that agree in the bits of their first word above `shift` + 8: into buckets by the next eight
/// bits, in place, then each bucket. Many keys that agree in the whole first word come from a feed made to be
/// slow; they get an ordinary sort.
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
  // Each swap moves one digest to its bucket; a second copy would be faster but double the memory.
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

/// Removes from `keys` the keys that are in `others`; both are ascending and hold no duplicates.
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
  // The digest must end at a blank or with the line. Earlier blanks and a leading "#" are not digits, so the
  // decoding rejects them.
  if (text.size() > kHexDigits && text[kHexDigits] != ' ' && text[kHexDigits] != '\t') return std::nullopt;
  std::array<uint8_t, sizeof(FeedKey)> bytes;
  if (!hash::decodeHex(text.data(), bytes.size(), bytes.data())) return std::nullopt;
  FeedKey key;
  for (size_t i = 0; i < key.size(); ++i) key[i] = bigEndianWord(&bytes[8 * i]);
  return key;
}

void FeedReader::take(std::string_view piece) {
  lines_.take(piece, [this](std::string_view line) { takeLine(line); });
}

std::vector<FeedKey> FeedReader::finish() {
  lines_.finish([this](std::string_view line) { takeLine(line); });
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
