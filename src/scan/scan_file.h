// One file path becomes one verdict: attributes, size limit, digests, signature lookup, PE analysis, rules.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>

#include "hash/triple_digest.h"
#include "scan/scan_records.h"

namespace korvel {

class SignatureDatabase;

/// What scanning one file needs. A value; the database is shared and thread-safe.
struct ScanContext {
  std::shared_ptr<const SignatureDatabase> database;
  uint64_t maxFileSize = 0;  ///< bytes, inclusive
  uint64_t readChunk = 0;    ///< bytes; the largest single read of a large file, within 64 to 256 KiB
  /// Once it is requested, large files are no longer read to their end, and verdicts are worthless.
  std::stop_token abandoned;
};

/// The memory that scanning reuses from file to file: one page-aligned read buffer, and the kept bytes of a
/// large image. Grows to what the files need, at most 72 MiB. Serves one thread at a time.
class ScanScratch {
 public:
  /// At least `bytes` of room, page-aligned, content unspecified. Valid until the next call.
  uint8_t* readBuffer(size_t bytes);
  /// Room for the first bytes of a large image. Valid until the next call.
  uint8_t* imageBuffer(size_t bytes);
  hash::TripleDigest& digest() { return digest_; }

 private:
  struct PagesDeleter {
    void operator()(uint8_t* pages) const;
  };
  struct Pages {
    std::unique_ptr<uint8_t, PagesDeleter> memory;
    size_t size = 0;
    uint8_t* atLeast(size_t bytes);
  };
  Pages read_;
  Pages image_;
  hash::TripleDigest digest_;
};

/// Never throws for a file that cannot be read; such a file yields a verdict with only what could be read.
/// The file is opened once, shared for reading only, and read once. Threads may scan at the same time, each
/// with a scratch of its own. Throws std::bad_alloc.
FileVerdict scanFile(const ScanContext& context, const std::wstring& path, ScanScratch& scratch);

}  // namespace korvel
