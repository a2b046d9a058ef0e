// A signature file in pieces of changing size reads as the plain rules say.
#include <cstdlib>

#include "signatures/signature_reference.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const korvel::test::ReferenceFile expected = korvel::test::referenceParse(text);

  korvel::SignatureFileParser parser(size);
  size_t pieceBytes = size == 0 ? 1 : 1 + data[size / 2];
  for (std::string_view rest = text; !rest.empty(); pieceBytes = pieceBytes * 7 % 300 + 1) {
    const std::string piece(rest.substr(0, pieceBytes));  // a heap block of exactly its size, or nearly
    parser.feed(piece);
    rest.remove_prefix(piece.size());
  }
  const korvel::SignatureFile file = parser.finish();
  if (!korvel::test::firstDifference(file.table, expected.entries).empty()) std::abort();
  if (file.version != expected.version || file.generated != expected.generated) std::abort();
  return 0;
}
