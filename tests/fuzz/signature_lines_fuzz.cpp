// korvelsig reads every line as the service does: the same entries and head, and the number of skipped and
// repeated lines accounts for all the others. What it writes reads back as the same entries.
#include <cstdlib>

#include "korvelsig/canonical_text.h"
#include "korvelsig/file_check.h"
#include "signatures/signature_reference.h"

using korvel::sig::CheckedFile;
using korvel::sig::FileCheck;
using korvel::sig::Finding;
using korvel::sig::RepeatedLines;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const korvel::SignatureFile read = korvel::parseSignatureText(text);

  FileCheck check(/*table=*/nullptr, /*strict=*/true);
  RepeatedLines repeated;
  size_t pieceBytes = size == 0 ? 1 : 1 + data[size / 2];
  for (std::string_view rest = text; !rest.empty(); pieceBytes = pieceBytes * 7 % 300 + 1) {
    const std::string piece(rest.substr(0, pieceBytes));  // a heap block of exactly its size, or nearly
    check.feed(piece);
    repeated.feed(piece);
    rest.remove_prefix(piece.size());
  }
  const CheckedFile file = check.finish();
  const std::vector<Finding> repeats = repeated.finish();
  if (file.entryLines - repeats.size() != read.table.size()) std::abort();
  if (file.version != read.version || file.generated != read.generated) std::abort();
  uint64_t skipped = 0;
  for (const Finding& finding : file.findings) {
    using korvel::sig::FindingId;
    if (finding.id == FindingId::kInvalidDigest || finding.id == FindingId::kWrongLength) ++skipped;
  }
  if (skipped > file.skippedLines) std::abort();

  std::string written;
  korvel::sig::writeDatabase(read.table, {"v", 1}, {}, [&](std::string_view piece) { written += piece; });
  korvel::test::ReferenceFile expected = korvel::test::referenceParse(text);
  for (auto& [digest, entry] : expected.entries) {
    if (digest.size() == 32) entry.tag.clear();
  }
  if (!firstDifference(korvel::parseSignatureText(written).table, expected.entries).empty()) std::abort();
  return 0;
}
