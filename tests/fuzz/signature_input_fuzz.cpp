// Facts, lists of hashes and signature files of any content, in pieces of changing size: entries without a
// finding of an error survive being written and read by the service, and pieces change nothing.
#include <cstdlib>

#include "korvelsig/canonical_text.h"
#include "korvelsig/signature_input.h"
#include "korvelsig/table_difference.h"
#include "signatures/signature_text.h"

namespace {

korvel::sig::SignatureInput readIn(std::string_view text, size_t pieceBytes) {
  korvel::sig::SignatureInputReader reader(text.size());
  for (; !text.empty(); pieceBytes = pieceBytes * 7 % 300 + 1) {
    const std::string piece(text.substr(0, pieceBytes));
    reader.feed(piece);
    text.remove_prefix(piece.size());
  }
  return reader.finish();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const korvel::sig::SignatureInput whole = readIn(text, size + 1);
  const korvel::sig::SignatureInput pieces = readIn(text, size == 0 ? 1 : 1 + data[size / 2]);
  if (whole.findings != pieces.findings || whole.entryLines != pieces.entryLines) std::abort();

  std::string written;
  korvel::sig::writeDatabase(whole.table, {"v", 1}, {}, [&](std::string_view piece) { written += piece; });
  const korvel::SignatureTable read = korvel::parseSignatureText(written).table;
  const auto differs = [](const korvel::sig::EntryChange&) { std::abort(); };
  korvel::sig::compareTables(whole.table, read, differs);
  korvel::sig::compareTables(whole.table, pieces.table, differs);
  return 0;
}
