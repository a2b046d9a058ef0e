// Files, separated by a 0x01 byte and merged one after the other, hold what the plain rules say.
#include <cstdlib>

#include "signatures/signature_reference.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string files(reinterpret_cast<const char*>(data), size);
  korvel::SignatureTable table = korvel::parseSignatureText("").table;
  std::map<std::string, korvel::test::ReferenceEntry> held;
  for (const std::string& text : korvel::test::referencePieces(files, '\x01')) {
    table = mergedTable(korvel::parseSignatureText(text).table, table);
    referenceMerge(held, korvel::test::referenceParse(text));
    if (!korvel::test::firstDifference(table, held).empty()) std::abort();
  }
  return 0;
}
