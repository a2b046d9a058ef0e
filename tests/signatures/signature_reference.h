// The rules of signature files and of their merge, written down as plainly as they can be said: maps of
// texts, streams, no speed. The tests and fuzz targets hold the real tables against it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "signatures/signature_text.h"

namespace korvel::test {

struct ReferenceEntry {
  std::string tag;
  std::string threatName;
  std::string family;
  std::string reference;
  int severity = 3;

  bool operator==(const ReferenceEntry&) const = default;
};

struct ReferenceFile {
  std::map<std::string, ReferenceEntry> entries;
  std::string version;
  uint64_t generated = 0;
};

inline std::string referenceLower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

inline bool referenceIsDigest(const std::string& lower) {
  return (lower.size() == 32 || lower.size() == 40 || lower.size() == 64) &&
         lower.find_first_not_of("0123456789abcdef") == std::string::npos;
}

inline int referenceSeverity(const std::string& word) {
  const std::string lower = referenceLower(word);
  return lower == "critical" ? 4 : lower == "high" ? 3 : lower == "medium" ? 2 : lower == "low" ? 1 : 0;
}

/// What std::getline() takes out of a stream one after another: a separator at the very end adds no piece.
inline std::vector<std::string> referencePieces(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find(separator, at), text.size());
    pieces.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return pieces;
}

inline void referenceEntryLine(const std::string& line, ReferenceFile& file) {
  const std::vector<std::string> f = referencePieces(line, ':');
  if (f.empty()) return;
  const std::string hash = referenceLower(f[0]);
  if (!referenceIsDigest(hash)) return;
  ReferenceEntry entry;
  if (f.size() == 1) {
    entry = {"", "Win.Trojan.Generic", "Win.Trojan.Generic", "", 3};
  } else if (f.size() <= 5 || hash.size() == 32) {
    entry = {"", f[1], f.size() >= 3 && f[2] != "SIGNATURE" ? f[2] : f[1], "", 3};
  } else {
    entry = {f[1], f[4], f[2], f[5], referenceSeverity(f[3])};
  }
  file.entries.emplace(hash, entry);  // the first one stays
}

inline ReferenceFile referenceParse(const std::string& text) {
  ReferenceFile file;
  for (std::string& line : referencePieces(text, '\n')) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    if (line.rfind("KORVELDB/", 0) == 0) continue;
    if (line.rfind("VERSION ", 0) == 0) {
      file.version = line.substr(8);
    } else if (line.rfind("GENERATED ", 0) == 0) {
      file.generated = std::strtoull(line.c_str() + 10, nullptr, 10);
    } else if (line.rfind("SIZE ", 0) != 0) {
      referenceEntryLine(line, file);
    }
  }
  return file;
}

/// Merges a file that was read later into what is held.
inline void referenceMerge(std::map<std::string, ReferenceEntry>& held, const ReferenceFile& file) {
  for (const auto& [hash, e] : file.entries) {
    const auto found = held.find(hash);
    if (found == held.end()) {
      held.emplace(hash, e);
      continue;
    }
    ReferenceEntry& x = found->second;
    if ((!e.reference.empty() && x.reference.empty()) || (!e.family.empty() && x.family.empty()) ||
        (x.threatName == "Win.Trojan.Generic" && e.threatName != "Win.Trojan.Generic")) {
      x = e;
    }
  }
}

/// The first digest on which the table and the reference differ, or empty.
inline std::string firstDifference(const SignatureTable& table,
                                   const std::map<std::string, ReferenceEntry>& held) {
  if (table.size() != held.size()) {
    return "sizes " + std::to_string(table.size()) + " and " + std::to_string(held.size());
  }
  for (const auto& [hash, entry] : held) {
    hash::Digest digest;
    SignatureFields fields;
    SignatureMatch match;
    const bool same =
        digest.parse(hash) && table.fields(digest.bytes(), fields) && table.findText(hash, &match) &&
        fields.tag == entry.tag && fields.threatName == entry.threatName && fields.family == entry.family &&
        fields.reference == entry.reference && fields.severity == entry.severity &&
        match.threatName == entry.threatName && match.family == entry.family &&
        match.reference == entry.reference && match.severity == entry.severity && match.hash == hash;
    if (!same) return hash;
  }
  return {};
}

}  // namespace korvel::test
