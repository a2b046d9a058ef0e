// How the service came to the entry that it holds for one digest: which line of which file won, which lost,
// and by which condition. Pure; not thread-safe.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hash/hex_digest.h"
#include "korvelsig/line_pieces.h"
#include "signatures/signature_records.h"

namespace korvel::sig {

/// The fields of an entry, with texts of its own.
struct StoryEntry {
  std::string tag;
  std::string threatName;
  std::string family;
  std::string reference;
  Severity severity = kSeverityHigh;

  bool operator==(const StoryEntry&) const = default;
};

StoryEntry storyEntryOf(const SignatureFields& fields);

enum class Outcome {
  kAdded,     ///< the first file that lists the digest
  kReplaced,  ///< took the place of the entry held
  kLost,      ///< the entry held stayed
  kRepeated,  ///< an earlier line of the same file has the digest
  kSkipped,   ///< the line names the digest, but the service does not read it as an entry
};

/// "added", "replaced", "lost", "repeated" or "skipped".
const char* outcomeName(Outcome outcome);

struct StoryLine {
  std::string file;
  uint64_t line = 0;
  Outcome outcome = Outcome::kAdded;
  std::string condition;  ///< of a merge: "reference", "family" or "name" for the one that won, else empty
  std::string reason;     ///< printable ASCII
  StoryEntry entry;       ///< unless skipped
};

class MergeStory {
 public:
  explicit MergeStory(const hash::Digest& digest);
  MergeStory(const MergeStory&) = delete;
  MergeStory& operator=(const MergeStory&) = delete;

  /// The files in the order in which the service loads them: for each, its name, its pieces and its end.
  void beginFile(const std::string& name);
  void feed(std::string_view piece) { pieces_.feed(piece); }
  void endFile();

  const std::vector<StoryLine>& lines() const { return lines_; }
  /// The position in lines() of the entry that the service holds at the end.
  std::optional<size_t> winner() const { return winner_; }

  // For the pieces.
  void bareLine(const Sha256Key& key, std::string_view text);
  void line(std::string_view text);

 private:
  void take(const SignatureFields& fields);
  void merge();
  std::string placeOf(size_t at) const;

  const hash::Digest digest_;
  const std::string digestText_;
  LinePieces<MergeStory> pieces_{*this};
  std::string file_;
  uint64_t number_ = 0;
  std::optional<size_t> firstOfFile_;
  std::optional<size_t> winner_;
  std::vector<StoryLine> lines_;
};

}  // namespace korvel::sig
