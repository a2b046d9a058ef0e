#include "korvelsig/merge_story.h"

#include <algorithm>

#include "base/text.h"
#include "korvelsig/signature_line.h"

namespace korvel::sig {
namespace {

/// The condition by which `newer` replaces `older`, or empty.
std::string replacingCondition(const StoryEntry& newer, const StoryEntry& older) {
  if (!newer.reference.empty() && older.reference.empty()) return "reference";
  if (!newer.family.empty() && older.family.empty()) return "family";
  if (newer.threatName != kGenericThreatName && older.threatName == kGenericThreatName) return "name";
  return {};
}

std::string whyReplaced(const std::string& condition) {
  if (condition == "reference") return "it has a reference, and that one has none";
  if (condition == "family") return "it has a family, and that one has none";
  return "that one has only the generic name " + std::string(kGenericThreatName);
}

std::string whyLost(const StoryEntry& newer, const StoryEntry& older) {
  const std::string reference = newer.reference.empty() ? "no reference here" : "a reference there already";
  const std::string family = newer.family.empty() ? "no family here" : "a family there already";
  const std::string name =
      older.threatName != kGenericThreatName ? "a name there already" : "the generic name here too";
  return reference + ", " + family + ", " + name;
}

}  // namespace

StoryEntry storyEntryOf(const SignatureFields& fields) {
  return {std::string(fields.tag), std::string(fields.threatName), std::string(fields.family),
          std::string(fields.reference), fields.severity};
}

const char* outcomeName(Outcome outcome) {
  switch (outcome) {
    case Outcome::kAdded:
      return "added";
    case Outcome::kReplaced:
      return "replaced";
    case Outcome::kLost:
      return "lost";
    case Outcome::kRepeated:
      return "repeated";
    case Outcome::kSkipped:
      return "skipped";
  }
  return "";
}

MergeStory::MergeStory(const hash::Digest& digest)
    : digest_(digest), digestText_(hash::encodeHex(digest.bytes())) {}

void MergeStory::beginFile(const std::string& name) {
  file_ = name;
  number_ = 0;
  firstOfFile_.reset();
}

void MergeStory::bareLine(const Sha256Key& key, std::string_view) {
  ++number_;
  if (!std::ranges::equal(key, digest_.bytes())) return;
  SignatureFields generic;
  generic.threatName = generic.family = kGenericThreatName;
  take(generic);
}

void MergeStory::line(std::string_view text) {
  ++number_;
  const SignatureLine line = readSignatureLine(text);
  if (line.kind == LineKind::kEntry) {
    if (std::ranges::equal(line.digest.bytes(), digest_.bytes())) take(line.entry);
  } else if (line.kind == LineKind::kSkipped &&
             lowerAscii(line.text).find(digestText_) != std::string::npos) {
    std::vector<Finding> findings;
    findInLine(line, number_, findings);
    lines_.push_back({file_, number_, Outcome::kSkipped, {}, findings.front().text, {}});
  }
}

/// The first line of a file goes into the merge; only then does its outcome show.
void MergeStory::take(const SignatureFields& fields) {
  StoryLine line{file_, number_, Outcome::kRepeated, {}, {}, storyEntryOf(fields)};
  if (firstOfFile_) {
    line.reason = placeOf(*firstOfFile_) + " comes first";
  } else {
    firstOfFile_ = lines_.size();
  }
  lines_.push_back(std::move(line));
  if (*firstOfFile_ + 1 == lines_.size()) merge();
}

void MergeStory::merge() {
  const size_t at = lines_.size() - 1;
  StoryLine& line = lines_[at];
  if (!winner_) {
    line.outcome = Outcome::kAdded;
    line.reason = "no file before it lists the digest";
    winner_ = at;
    return;
  }
  const StoryEntry& held = lines_[*winner_].entry;
  line.condition = replacingCondition(line.entry, held);
  if (line.condition.empty()) {
    line.outcome = Outcome::kLost;
    line.reason = placeOf(*winner_) + " stays: " + whyLost(line.entry, held);
    return;
  }
  line.outcome = Outcome::kReplaced;
  line.reason = "takes the place of " + placeOf(*winner_) + ": " + whyReplaced(line.condition);
  winner_ = at;
}

void MergeStory::endFile() { pieces_.finish(); }

std::string MergeStory::placeOf(size_t at) const {
  return lines_[at].file + ":" + std::to_string(lines_[at].line);
}

}  // namespace korvel::sig
