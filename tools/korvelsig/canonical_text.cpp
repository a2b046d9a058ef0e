#include "korvelsig/canonical_text.h"

#include <chrono>
#include <cstdio>
#include <vector>

#include "base/sizes.h"
#include "hash/hex_digest.h"
#include "records/severity.h"

namespace korvel::sig {
namespace {

constexpr size_t kPieceBytes = 2 * kMiB;  // the system keeps large pieces at less cost than small ones

bool isBareEntry(const SignatureFields& fields) {
  return fields.threatName == kGenericThreatName && fields.family == kGenericThreatName &&
         fields.tag.empty() && fields.reference.empty() && fields.severity == kSeverityHigh;
}

/// Collects text and hands it over in large pieces.
class PieceWriter {
 public:
  explicit PieceWriter(const WriteText& write) : write_(write), piece_(kPieceBytes) {}

  void append(std::string_view text) {
    if (text.size() > piece_.size() - used_) handOver();
    if (text.size() > piece_.size()) return write_(text);
    text.copy(piece_.data() + used_, text.size());
    used_ += text.size();
  }
  /// A line that is only a digest: nearly every line of a large file.
  void appendBareLine(std::span<const uint8_t> digest) {
    const size_t bytes = 2 * digest.size() + 1;
    if (bytes > piece_.size() - used_) handOver();
    hash::encodeHex(digest, piece_.data() + used_);
    used_ += bytes;
    piece_[used_ - 1] = '\n';
  }
  void handOver() {
    if (used_ != 0) write_({piece_.data(), used_});
    used_ = 0;
  }

 private:
  const WriteText& write_;
  std::vector<char> piece_;
  size_t used_ = 0;
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

uint64_t countKept(const SignatureTable& table, const DigestList& leftOut) {
  uint64_t count = table.size();
  for (const std::string& key : leftOut) {
    if (table.find({reinterpret_cast<const uint8_t*>(key.data()), key.size()}, /*match=*/nullptr)) --count;
  }
  return count;
}

}  // namespace

void appendCanonicalLine(std::span<const uint8_t> digest, const SignatureFields& fields, std::string& text) {
  text += hash::encodeHex(digest);
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
  out.append(
      "# KORVEL signature database. Made by korvelsig; change what it was made from, not this file.\n"
      "KORVELDB/1\nVERSION " +
      head.version + "\nGENERATED " + std::to_string(head.generated) + "\nSIZE " + std::to_string(count) +
      "\n");
  std::string line;
  visitKept(table, leftOut, [&](const SignatureCursor& at) {
    if (at.isBare()) return out.appendBareLine(at.digest());
    line.clear();
    appendCanonicalLine(at.digest(), at.fields(), line);
    out.append(line);
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
    if (at.digest().size() == hash::kSha256Bytes) out.appendBareLine(at.digest());
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
