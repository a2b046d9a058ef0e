// Hash feeds: plain text, one SHA-256 per line in hexadecimal, anything after the first blank ignored, '#'
// lines are comments. Other lines are skipped silently; no input is an error. Pure.
//
// Digests are kept as 32 binary bytes and each source as one sorted run, so that millions of them cost their
// own size and little more.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/line_assembler.h"

namespace korvel {

/// A digest as four big-endian words, so that comparing the words compares the bytes.
using FeedKey = std::array<uint64_t, 4>;

/// A set with more digests than this is refused: no honest feed is that large.
inline constexpr uint64_t kMaxFeedHashes = 4'000'000;

/// The digest of one line (without its LF), if it holds one.
std::optional<FeedKey> feedKeyOfLine(std::string_view line);

/// Collects the digests of one source from pieces that may be cut anywhere. Holds no more text than one line.
/// Not thread-safe.
class FeedReader {
 public:
  void take(std::string_view piece);
  /// Ends the last line and hands the digests over, in the order of the source, duplicates included.
  std::vector<FeedKey> finish();

 private:
  void takeLine(std::string_view line);

  LineAssembler lines_;
  std::vector<FeedKey> keys_;
};

/// The digests of all sources, each once. Not thread-safe.
class FeedSet {
 public:
  /// Adds one source's digests, in any order and with duplicates. False when the set now holds more than
  /// kMaxFeedHashes.
  bool add(std::vector<FeedKey> keys);

  uint64_t size() const { return size_; }
  bool empty() const { return size_ == 0; }

  /// Calls `visit` with every digest in ascending byte order until it returns false; true when all were seen.
  template <typename Visit>
  bool inOrder(const Visit& visit) const;

 private:
  std::vector<std::vector<FeedKey>> runs_;  // each ascending; no digest is in two of them
  uint64_t size_ = 0;
};

/// Sorts ascending by bytes. Digests are spread evenly, which makes the first step one pass over the data;
/// a feed made to defeat that costs no more than an ordinary sort.
void sortFeedKeys(std::vector<FeedKey>& keys);

/// "live-" and the UTC date of `unixSeconds` as eight digits.
std::string liveVersion(uint64_t unixSeconds);

/// Hands the text of the live database to `write` in pieces of some kilobytes. Stops and returns false as
/// soon as `write` does.
bool renderLiveDatabase(const FeedSet& set, uint64_t unixSeconds,
                        const std::function<bool(std::string_view)>& write);

template <typename Visit>
bool FeedSet::inOrder(const Visit& visit) const {
  std::vector<size_t> at(runs_.size(), 0);
  for (;;) {
    const FeedKey* least = nullptr;
    size_t leastRun = 0;
    for (size_t run = 0; run < runs_.size(); ++run) {
      if (at[run] == runs_[run].size()) continue;
      const FeedKey& key = runs_[run][at[run]];
      if (least != nullptr && *least < key) continue;
      least = &key;
      leastRun = run;
    }
    if (least == nullptr) return true;
    if (!visit(*least)) return false;
    ++at[leastRun];
  }
}

}  // namespace korvel
