// The commands that ask: info, lookup, why, diff.
#include <algorithm>
#include <array>
#include <chrono>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <unordered_map>

#include "base/sizes.h"
#include "hash/triple_digest.h"
#include "korvelsig/canonical_text.h"
#include "korvelsig/commands.h"
#include "korvelsig/merge_story.h"
#include "korvelsig/table_difference.h"
#include "signatures/signature_text.h"

namespace korvel::sig {
namespace {

using Json = nlohmann::ordered_json;

constexpr size_t kShownFamilies = 10;
constexpr uint64_t kMaxScannedBytes = 512 * kMiB;  // the service reads no larger file

/// As the service reads it.
SignatureFile loadFile(const std::string& path, FileAccess& files) {
  SignatureFileParser parser(files.size(path));
  files.read(path, [&parser](std::string_view piece) { parser.feed(piece); });
  return parser.finish();
}

const char* kindName(size_t digestBytes) {
  return digestBytes == hash::kMd5Bytes ? "MD5" : digestBytes == hash::kSha1Bytes ? "SHA-1" : "SHA-256";
}

Json entryJson(const SignatureFields& fields) {
  return {{"name", fields.threatName},
          {"family", fields.family},
          {"severity", severityName(fields.severity)},
          {"reference", fields.reference}};
}

std::string entryText(const SignatureFields& fields) {
  return printableAscii(fields.threatName) + " (family " + printableAscii(fields.family) + ", severity " +
         severityName(fields.severity) +
         (fields.reference.empty() ? "" : ", reference " + printableAscii(fields.reference)) + ")";
}

// --- info ---

struct Counts {
  std::map<size_t, uint64_t> kinds;  ///< by the size of the digest
  std::map<Severity, uint64_t> severities;
  std::vector<std::pair<std::string_view, uint64_t>> families;  ///< the most frequent first
};

Counts countEntries(const SignatureTable& table) {
  Counts counts;
  std::unordered_map<std::string_view, uint64_t> families;
  for (SignatureCursor at(table); !at.atEnd(); at.next()) {
    const SignatureFields fields = at.fields();
    ++counts.kinds[at.digest().size()];
    ++counts.severities[fields.severity];
    ++families[fields.family];
  }
  counts.families.assign(families.begin(), families.end());
  std::sort(counts.families.begin(), counts.families.end(), [](const auto& a, const auto& b) {
    return a.second != b.second ? a.second > b.second : a.first < b.first;
  });
  return counts;
}

std::string timeText(uint64_t unixSeconds) {
  if (unixSeconds > kMaxTime) return std::to_string(unixSeconds);
  const std::chrono::sys_seconds time{std::chrono::seconds(unixSeconds)};
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date{day};
  const std::chrono::hh_mm_ss clock{time - day};
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

std::string infoText(const std::string& path, const SignatureFile& file, const Counts& counts) {
  std::string text = path + "\n  version    " + printableAscii(file.version) + "\n  generated  " +
                     timeText(file.generated) + "\n  entries    " + std::to_string(file.table.size()) + "\n";
  for (const auto& [size, count] : counts.kinds) {
    text += "  " + std::string(kindName(size)).append(11 - std::string(kindName(size)).size(), ' ') +
            std::to_string(count) + "\n";
  }
  text += "  severity   ";
  for (auto at = counts.severities.rbegin(); at != counts.severities.rend(); ++at) {
    text += std::string(at == counts.severities.rbegin() ? "" : ", ") + severityName(at->first) + " " +
            std::to_string(at->second);
  }
  text += "\n  families   " + std::to_string(counts.families.size()) + "\n";
  for (size_t at = 0; at < std::min(kShownFamilies, counts.families.size()); ++at) {
    text += "    " + std::to_string(counts.families[at].second) + " " +
            printableAscii(counts.families[at].first) + "\n";
  }
  if (counts.families.size() > kShownFamilies) text += "    ...\n";
  return text;
}

Json infoJson(const std::string& path, const SignatureFile& file, const Counts& counts) {
  const auto kind = [&counts](size_t size) {
    const auto found = counts.kinds.find(size);
    return found == counts.kinds.end() ? uint64_t{0} : found->second;
  };
  Json json{{"file", path},
            {"version", file.version},
            {"generated", file.generated},
            {"generated_utc", timeText(file.generated)},
            {"entries", file.table.size()},
            {"digests",
             {{"md5", kind(hash::kMd5Bytes)},
              {"sha1", kind(hash::kSha1Bytes)},
              {"sha256", kind(hash::kSha256Bytes)}}},
            {"severities", Json::object()},
            {"families", Json::array()}};
  for (const auto& [severity, count] : counts.severities) json["severities"][severityName(severity)] = count;
  for (const auto& [family, count] : counts.families) {
    json["families"].push_back({{"family", family}, {"entries", count}});
  }
  return json;
}

// --- lookup ---

struct LookedUp {
  std::string item;
  bool isFile = false;
  std::string note;  ///< why the service would not look at a file, or empty
  std::optional<SignatureMatch> match;
};

LookedUp lookUp(const std::string& item, const SignatureTable& table, FileAccess& files) {
  LookedUp result{item, false, {}, {}};
  SignatureMatch match;
  if (hash::Digest().parse(item)) {
    if (table.findText(item, &match)) result.match = match;
    return result;
  }
  result.isFile = true;
  const uint64_t size = files.size(item);
  if (size == 0) result.note = "empty: the service does not look it up";
  if (size > kMaxScannedBytes) result.note = "larger than 512 MiB: the service does not look it up";
  if (!result.note.empty()) return result;
  hash::TripleDigest digest;
  files.read(item, [&digest](std::string_view piece) {
    digest.update(reinterpret_cast<const uint8_t*>(piece.data()), piece.size());
  });
  if (table.lookup(digest.digests(), &match)) result.match = match;
  return result;
}

SignatureFields fieldsOf(const SignatureMatch& match) {
  return {{}, match.threatName, match.family, match.reference, match.severity};
}

std::string lookedUpText(const LookedUp& result) {
  if (!result.note.empty()) return result.item + ": " + result.note + "\n";
  if (!result.match) return result.item + ": not listed\n";
  return result.item + ": " + entryText(fieldsOf(*result.match)) +
         (result.isFile ? std::string(", by ") + kindName(result.match->hash.size() / 2) : "") + "\n";
}

Json lookedUpJson(const LookedUp& result) {
  Json json{{"item", result.item}, {"listed", result.match.has_value()}};
  if (!result.note.empty()) json["note"] = result.note;
  if (result.match) {
    json.update(entryJson(fieldsOf(*result.match)));
    json["digest"] = result.match->hash;
  }
  return json;
}

// --- why ---

SignatureFields fieldsOf(const StoryEntry& entry) {
  return {entry.tag, entry.threatName, entry.family, entry.reference, entry.severity};
}

std::string storyText(const MergeStory& story) {
  std::string text;
  for (const StoryLine& line : story.lines()) {
    text += line.file + ":" + std::to_string(line.line) + ": ";
    if (line.outcome != Outcome::kSkipped) text += entryText(fieldsOf(line.entry)) + "\n  ";
    text += std::string(outcomeName(line.outcome)) + ": " + line.reason + "\n";
  }
  if (!story.winner()) return text + "not listed\n";
  const StoryLine& winner = story.lines()[*story.winner()];
  return text + "the service answers with " + winner.file + ":" + std::to_string(winner.line) + ": " +
         entryText(fieldsOf(winner.entry)) + "\n";
}

Json storyJson(const hash::Digest& digest, const MergeStory& story) {
  Json json{
      {"schema", "korvel.sig.why/1"}, {"digest", hash::encodeHex(digest.bytes())}, {"lines", Json::array()}};
  for (const StoryLine& line : story.lines()) {
    Json one{{"file", line.file}, {"line", line.line}, {"outcome", outcomeName(line.outcome)}};
    if (!line.condition.empty()) one["condition"] = line.condition;
    one["reason"] = line.reason;
    if (line.outcome != Outcome::kSkipped) one.update(entryJson(fieldsOf(line.entry)));
    json["lines"].push_back(one);
  }
  json["answer"] = nullptr;
  if (story.winner()) {
    const StoryLine& winner = story.lines()[*story.winner()];
    json["answer"] = {{"file", winner.file}, {"line", winner.line}};
    json["answer"].update(entryJson(fieldsOf(winner.entry)));
  }
  return json;
}

// --- diff ---

struct ChangeCounts {
  uint64_t added = 0;
  uint64_t removed = 0;
  uint64_t changed = 0;
};

std::string changedFields(const SignatureFields& older, const SignatureFields& newer) {
  std::string text;
  const auto compare = [&text](const char* name, std::string_view a, std::string_view b) {
    if (a == b) return;
    text += std::string(text.empty() ? "" : ", ") + name + " " + inQuotes(a) + " -> " + inQuotes(b);
  };
  compare("name", older.threatName, newer.threatName);
  compare("family", older.family, newer.family);
  compare("severity", severityName(older.severity), severityName(newer.severity));
  compare("reference", older.reference, newer.reference);
  return text;
}

std::string changeText(const EntryChange& change) {
  const std::string digest = hash::encodeHex(change.digest);
  if (!change.older) return "+ " + digest + " " + entryText(*change.newer) + "\n";
  if (!change.newer) return "- " + digest + " " + entryText(*change.older) + "\n";
  return "~ " + digest + " " + changedFields(*change.older, *change.newer) + "\n";
}

Json changeJson(const EntryChange& change) {
  Json json{{"digest", hash::encodeHex(change.digest)},
            {"change", !change.older   ? "added"
                       : !change.newer ? "removed"
                                       : "changed"}};
  if (change.older) json["old"] = entryJson(*change.older);
  if (change.newer) json["new"] = entryJson(*change.newer);
  return json;
}

std::string headText(const SignatureFile& older, const SignatureFile& newer) {
  std::string text;
  if (older.version != newer.version)
    text += "version " + inQuotes(older.version) + " -> " + inQuotes(newer.version) + "\n";
  if (older.generated != newer.generated) {
    text += "generated " + timeText(older.generated) + " -> " + timeText(newer.generated) + "\n";
  }
  return text;
}

}  // namespace

int runInfo(const Command& command, const Surroundings& here) {
  Json json{{"schema", "korvel.sig.info/1"}, {"files", Json::array()}};
  for (const std::string& path : command.files) {
    const SignatureFile file = loadFile(path, here.files);
    const Counts counts = countEntries(file.table);
    if (command.json) {
      json["files"].push_back(infoJson(path, file, counts));
    } else {
      here.out(infoText(path, file, counts));
    }
  }
  if (command.json) here.out(dumpJson(json));
  return kExitClean;
}

int runLookup(const Command& command, const Surroundings& here) {
  SignatureTable table;
  for (const std::string& path : command.files) table = mergedTable(loadFile(path, here.files).table, table);
  bool listed = false;
  Json json{{"schema", "korvel.sig.lookup/1"}, {"items", Json::array()}};
  for (const std::string& item : command.items) {
    const LookedUp result = lookUp(item, table, here.files);
    listed = listed || result.match.has_value();
    if (command.json) {
      json["items"].push_back(lookedUpJson(result));
    } else {
      here.out(lookedUpText(result));
    }
  }
  if (command.json) here.out(dumpJson(json));
  return listed ? kExitFindings : kExitClean;
}

int runWhy(const Command& command, const Surroundings& here) {
  hash::Digest digest;
  digest.parse(command.items.front());
  MergeStory story(digest);
  for (const std::string& path : command.files) {
    story.beginFile(path);
    here.files.read(path, [&story](std::string_view piece) { story.feed(piece); });
    story.endFile();
  }
  here.out(command.json ? dumpJson(storyJson(digest, story)) : storyText(story));
  return story.winner() ? kExitClean : kExitFindings;
}

int runDiff(const Command& command, const Surroundings& here) {
  const SignatureFile older = loadFile(command.files[0], here.files);
  const SignatureFile newer = loadFile(command.files[1], here.files);
  ChangeCounts counts;
  Json changes = Json::array();
  if (!command.json) here.out(headText(older, newer));
  compareTables(older.table, newer.table, [&](const EntryChange& change) {
    ++(!change.older ? counts.added : !change.newer ? counts.removed : counts.changed);
    if (command.stat) return;
    if (command.json) {
      changes.push_back(changeJson(change));
    } else {
      here.out(changeText(change));
    }
  });
  if (command.json) {
    Json json{
        {"schema", "korvel.sig.diff/1"},
        {"old", {{"file", command.files[0]}, {"version", older.version}, {"entries", older.table.size()}}},
        {"new", {{"file", command.files[1]}, {"version", newer.version}, {"entries", newer.table.size()}}},
        {"added", counts.added},
        {"removed", counts.removed},
        {"changed", counts.changed}};
    if (!command.stat) json["changes"] = std::move(changes);
    here.out(dumpJson(json));
  } else {
    here.out(std::to_string(counts.added) + " added, " + std::to_string(counts.removed) + " removed, " +
             std::to_string(counts.changed) + " changed; " + std::to_string(older.table.size()) + " -> " +
             std::to_string(newer.table.size()) + " entries\n");
  }
  return counts.added + counts.removed + counts.changed == 0 ? kExitClean : kExitFindings;
}

}  // namespace korvel::sig
