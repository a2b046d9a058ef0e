// One file path becomes one verdict: attributes, size limit, digests, signature lookup, PE analysis, rules.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "scan/scan_context.h"
#include "scan/scan_records.h"
#include "scan/verdict_trace.h"

namespace korvel {

/// Never throws for a file that cannot be read; such a file yields a verdict with only what could be read.
/// The file is opened once, shared for reading only, and read once (twice when a read fails). A file whose
/// content is stored elsewhere is not opened, so nothing is downloaded.
///
/// `listedAttributes` are the FILE_ATTRIBUTE_ bits that the file's folder lists for it. Some storage
/// providers say only there that the content is elsewhere; without them, the folder is asked.
///
/// Threads may scan at the same time, each with a scratch of its own. Throws std::bad_alloc.
FileVerdict scanFile(const ScanContext& context, const std::wstring& path, ScanScratch& scratch,
                     std::optional<uint32_t> listedAttributes = std::nullopt);

/// The verdict of scanFile(), and how it came about.
FileVerdict explainFile(const ScanContext& context, const std::wstring& path, ScanScratch& scratch,
                        VerdictTrace& trace);

}  // namespace korvel
