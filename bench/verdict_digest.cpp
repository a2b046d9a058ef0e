#include "verdict_digest.h"

#include <bit>

#include "base/byte_view.h"
#include "base/utf.h"

namespace korvel::bench {

void VerdictDigest::addText(const std::string& text) {
  addNumber(text.size());
  digest_.update(reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

void VerdictDigest::addNumber(uint64_t number) {
  uint8_t bytes[8];
  storeLe64(bytes, number);
  digest_.update(bytes, sizeof bytes);
}

void VerdictDigest::add(const FileVerdict& verdict) {
  addText(toUtf8(verdict.path));
  addText(toUtf8(verdict.fileName));
  addNumber(verdict.size);
  addNumber(verdict.lastWriteTime);
  for (const std::string* text : {&verdict.md5, &verdict.sha1, &verdict.sha256, &verdict.threatName,
                                  &verdict.family, &verdict.reference, &verdict.matchedHash}) {
    addText(*text);
  }
  for (const bool flag :
       {verdict.isPe, verdict.packed, verdict.peHasDebug, verdict.peHasResources, verdict.signatureMatched}) {
    addNumber(flag);
  }
  addNumber(std::bit_cast<uint64_t>(verdict.peEntropy));
  addNumber(std::bit_cast<uint64_t>(verdict.peMaxSectionEntropy));
  for (const int32_t number : {verdict.peSectionCount, verdict.peImportCount, int32_t{verdict.threatSeverity},
                               int32_t{verdict.severity}}) {
    addNumber(static_cast<uint32_t>(number));
  }
  addNumber(verdict.findings.size());
  for (const Finding& finding : verdict.findings) {
    addNumber(static_cast<uint32_t>(finding.severity));
    for (const std::string* text : {&finding.code, &finding.title, &finding.detail}) addText(*text);
  }
  addNumber(verdict.reasons.size());
  for (const std::string& reason : verdict.reasons) addText(reason);
}

}  // namespace korvel::bench
