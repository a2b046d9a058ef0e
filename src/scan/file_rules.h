// The rule step: file data, digests, PE summary and lookup result become a verdict. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "hash/file_digests.h"
#include "pe/pe_info.h"
#include "scan/scan_records.h"
#include "signatures/signature_match.h"

namespace korvel {

/// Evaluates the rules in their fixed order. `fileName` is the last component of `path`. The texts of digests
/// that were not computed stay empty. Russian texts, UTF-8. `trace`, when given, gets a line for every rule;
/// those of `pe` are its own (explainPe()).
FileVerdict buildVerdict(std::wstring path, std::wstring fileName, uint64_t size, uint64_t lastWriteTime,
                         const std::optional<hash::FileDigests>& digests, const PeAnalysis& pe,
                         bool signatureMatched, const SignatureMatch& match, RuleTrace* trace = nullptr);

/// True when the text from the name's first dot on is a double extension such as ".pdf.exe".
bool hasDoubleExtension(const std::wstring& fileName);

}  // namespace korvel
