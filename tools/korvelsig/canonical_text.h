// The one form in which korvelsig writes signature files: sorted by digest, lower case, LF, the head filled
// in. The same entries give the same bytes, and the service reads back exactly what went in. Pure and
// thread-safe.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "korvelsig/digest_list.h"
#include "signatures/signature_table.h"

namespace korvel::sig {

/// Takes the text in pieces of some kilobytes.
using WriteText = std::function<void(std::string_view)>;

/// Appends an entry with its LF: the digest alone if nothing else is known of it, else the short form for MD5
/// and the long form for the others. MD5 lines cannot hold a tag, a reference, or a severity but high.
void appendCanonicalLine(std::span<const uint8_t> digest, const SignatureFields& fields, std::string& text);

struct DatabaseHead {
  std::string version;
  uint64_t generated = 0;  ///< Unix seconds
};

/// Writes all entries but those in `leftOut`; returns how many.
uint64_t writeDatabase(const SignatureTable& table, const DatabaseHead& head, const DigestList& leftOut,
                       const WriteText& write);

/// The number of SHA-256 entries that are not in `leftOut`.
uint64_t countFeed(const SignatureTable& table, const DigestList& leftOut);
/// Writes their digests, one per line.
void writeFeed(const SignatureTable& table, const DigestList& leftOut, const WriteText& write);

/// "sig-" and the UTC date as eight digits. `unixSeconds` is at most kMaxTime.
std::string defaultVersion(uint64_t unixSeconds);
inline constexpr uint64_t kMaxTime = 253'402'300'799;  ///< the end of the year 9999

}  // namespace korvel::sig
