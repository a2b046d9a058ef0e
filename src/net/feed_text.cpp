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

constexpr uint8_t kNoDigit = 0xFF;

constexpr std::array<uint8_t, 256> makeHexValues() {
  std::array<uint8_t, 256> values{};
  for (auto& value : values) value = kNoDigit;
  for (uint8_t i = 0; i < 10; ++i) values[static_cast<size_t>('0') + i] = i;
  for (uint8_t i = 0; i < 6; ++i) {
    values[static_cast<size_t>('a') + i] = values[static_cast<size_t>('A') + i] =
        static_cast<uint8_t>(10 + i);
  }
  return values;
}
constexpr std::array<uint8_t, 256> kHexValues = makeHexValues();

/// False when one of the 64 characters is no hexadecimal digit.
bool decodeHex(const char* text, FeedKey& key) {
  uint8_t seen = 0;  // valid digits leave the high half clear
  for (size_t i = 0; i < key.size(); ++i) {
    const uint8_t high = kHexValues[static_cast<uint8_t>(text[2 * i])];
    const uint8_t low = kHexValues[static_cast<uint8_t>(text[2 * i + 1])];
    seen = static_cast<uint8_t>(seen | high | low);
    key[i] = static_cast<uint8_t>(high << 4 | low);
  }
  return (seen & 0xF0) == 0;
}

void appendHexLine(const FeedKey& key, std::string& text) {
  static constexpr char kDigits[] = "0123456789abcdef";
  char line[kHexDigits + 1];
  for (size_t i = 0; i < key.size(); ++i) {
    line[2 * i] = kDigits[key[i] >> 4];
    line[2 * i + 1] = kDigits[key[i] & 0x0F];
  }
  line[kHexDigits] = '\n';
  text.append(line, sizeof line);
}

// --- sorting ---

constexpr size_t kBuckets =
    4096;  // by the first 12 bits: a bucket of two million digests fits the first cache

size_t bucketOf(const FeedKey& key) { return static_cast<size_t>(key[0]) << 4 | key[1] >> 4; }

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
  std::string_view token = trimmed(line, kBlanks);
  if (token.empty() || token.front() == '#') return std::nullopt;
  token = token.substr(0, token.find_first_of(" \t"));
  if (token.size() != kHexDigits) return std::nullopt;
  FeedKey key;
  if (!decodeHex(token.data(), key)) return std::nullopt;
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
  std::array<size_t, kBuckets + 1> begin{};
  for (const FeedKey& key : keys) ++begin[bucketOf(key) + 1];
  for (size_t bucket = 0; bucket < kBuckets; ++bucket) begin[bucket + 1] += begin[bucket];

  // Every swap brings one digest into its bucket, in place: a second copy would double the memory.
  std::vector<size_t> next(begin.begin(), begin.end() - 1);
  for (size_t bucket = 0; bucket < kBuckets; ++bucket) {
    while (next[bucket] < begin[bucket + 1]) {
      const size_t home = bucketOf(keys[next[bucket]]);
      if (home != bucket) std::swap(keys[next[bucket]], keys[next[home]]);
      ++next[home];
    }
  }
  const auto at = [&keys](size_t index) { return keys.begin() + static_cast<std::ptrdiff_t>(index); };
  for (size_t bucket = 0; bucket < kBuckets; ++bucket) std::sort(at(begin[bucket]), at(begin[bucket + 1]));
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
