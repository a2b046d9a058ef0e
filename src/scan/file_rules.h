// The rule step: file data, digests, PE summary and lookup result become a verdict. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <string>

#include "scan/pe_info.h"
#include "scan/scan_records.h"

namespace korvel {

struct FileDigests {
  std::string md5;  ///< lower-case hexadecimal; empty when not computed
  std::string sha1;
  std::string sha256;
};

/// Evaluates the rules in their fixed order. `fileName` is the last component of `path`. Russian texts,
/// UTF-8.
FileVerdict buildVerdict(std::wstring path, std::wstring fileName, uint64_t size, uint64_t lastWriteTime,
                         FileDigests digests, const PeAnalysis& pe, bool signatureMatched,
                         const SignatureMatch& match);

/// True when the text from the name's first dot on is a double extension such as ".pdf.exe".
bool hasDoubleExtension(const std::wstring& fileName);

}  // namespace korvel
