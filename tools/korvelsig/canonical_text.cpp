#include "korvelsig/canonical_text.h"

#include <chrono>
#include <cstdio>

#include "base/sizes.h"
#include "hash/hex_digest.h"
#include "records/severity.h"

namespace korvel::sig {
namespace {

constexpr size_t kPieceBytes = 256 * kKiB;

bool isBareEntry(const SignatureFields& fields) {
  return fields.threatName == kGenericThreatName && fields.family == kGenericThreatName &&
         fields.tag.empty() && fields.reference.empty() && fields.severity == kSeverityHigh;
}

/// Collects text and hands it over in large pieces.
class PieceWriter {
 public:
  explicit PieceWriter(const WriteText& write) : write_(write) { text_.reserve(kPieceBytes + kKiB); }

  std::string& text() { return text_; }
  void handOverIfLarge() {
    if (text_.size() >= kPieceBytes) handOver();
  }
  void handOver() {
    if (!text_.empty()) write_(text_);
    text_.clear();
  }

 private:
  const WriteText& write_;
  std::string text_;
};

/// Calls `visit` for every entry that is not in `leftOut`. Both come in the same order.
template <typename Visit>
void visitKept(const SignatureTable& table, const DigestList& leftOut, const Visit& visit) {
  auto out = leftOut.begin();
  for (SignatureCursor at(table); !at.atEnd(); at.next()) {
    if (out != leftOut.end()) {
      const std::string key = digestKey(at.digest());
      while (out != leftOut.end() && *out < key) ++out;
      if (out != leftOut.end() && *out == key) continue;
    }
    visit(at);
  }
}

void appendDigest(std::span<const uint8_t> digest, std::string& text) {
  const size_t before = text.size();
  text.resize(before + 2 * digest.size());
  hash::encodeHex(digest, text.data() + before);
}

uint64_t countKept(const SignatureTable& table, const DigestList& leftOut) {
  uint64_t count = table.size();
  for (const std::string& key : leftOut) {
    if (table.find({reinterpret_cast<const uint8_t*>(key.data()), key.size()}, /*match=*/nullptr)) --count;
  }
  return count;
}

}  // namespace

void appendCanonicalLine(std::span<const uint8_t> digest, const SignatureFields& fields, std::string& text) {
  appendDigest(digest, text);
  if (isBareEntry(fields)) {
    text += '\n';
    return;
  }
  const auto append = [&text](std::string_view field) { (text += ':') += field; };
  std::string_view last;
  if (digest.size() == hash::kMd5Bytes) {
    append(fields.threatName);
    append(last = fields.family);
  } else {
    append(fields.tag);
    append(fields.family);
    append(severityName(fields.severity));
    append(fields.threatName);
    append(last = fields.reference);
  }
  // A colon at the end of a line adds no field. It keeps an empty last field, and a CR in the last field.
  if (last.empty() || last.back() == '\r') text += ':';
  text += '\n';
}

uint64_t writeDatabase(const SignatureTable& table, const DatabaseHead& head, const DigestList& leftOut,
                       const WriteText& write) {
  const uint64_t count = countKept(table, leftOut);
  PieceWriter out(write);
  out.text() =
      "# KORVEL signature database. Made by korvelsig; change what it was made from, not this file.\n"
      "KORVELDB/1\nVERSION " +
      head.version + "\nGENERATED " + std::to_string(head.generated) + "\nSIZE " + std::to_string(count) +
      "\n";
  visitKept(table, leftOut, [&out](const SignatureCursor& at) {
    if (at.isBare()) {
      appendDigest(at.digest(), out.text());
      out.text() += '\n';
    } else {
      appendCanonicalLine(at.digest(), at.fields(), out.text());
    }
    out.handOverIfLarge();
  });
  out.handOver();
  return count;
}

uint64_t countFeed(const SignatureTable& table, const DigestList& leftOut) {
  uint64_t count = 0;
  visitKept(table, leftOut, [&count](const SignatureCursor& at) {
    if (at.digest().size() == hash::kSha256Bytes) ++count;
  });
  return count;
}

void writeFeed(const SignatureTable& table, const DigestList& leftOut, const WriteText& write) {
  PieceWriter out(write);
  visitKept(table, leftOut, [&out](const SignatureCursor& at) {
    if (at.digest().size() != hash::kSha256Bytes) return;
    appendDigest(at.digest(), out.text());
    out.text() += '\n';
    out.handOverIfLarge();
  });
  out.handOver();
}

std::string defaultVersion(uint64_t unixSeconds) {
  const std::chrono::sys_seconds time{std::chrono::seconds(unixSeconds)};
  const std::chrono::year_month_day day{std::chrono::floor<std::chrono::days>(time)};
  char text[40];
  std::snprintf(text, sizeof text, "sig-%04d%02u%02u", static_cast<int>(day.year()),
                static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()));
  return text;
}

}  // namespace korvel::sig
