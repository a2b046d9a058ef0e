// One file path becomes one verdict: attributes, size limit, digests, signature lookup, PE analysis, rules.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "scan/scan_records.h"

namespace korvel {

class SignatureDatabase;

/// What scanning one file needs. A value; the database is shared and thread-safe.
struct ScanContext {
  std::shared_ptr<const SignatureDatabase> database;
  uint64_t maxFileSize = 0;  ///< bytes, inclusive
  uint64_t readChunk = 0;    ///< bytes
};

/// Never throws for a file that cannot be read; such a file yields a verdict with little in it. The file is
/// opened once, shared for reading only, and read once. Thread-safe; throws std::bad_alloc.
FileVerdict scanFile(const ScanContext& context, const std::wstring& path);

}  // namespace korvel
