// The content of one file becomes its digests and its PE analysis, from one read of its bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "hash/file_digests.h"
#include "pe/pe_info.h"
#include "scan/scan_context.h"

namespace korvel {

/// One file that is read from its beginning to its end. Not thread-safe.
class FileBytes {
 public:
  virtual ~FileBytes() = default;
  /// Reads up to `bytes` from where the last read ended. 0 at the end of the file; empty when the read fails.
  virtual std::optional<size_t> read(uint8_t* to, size_t bytes) = 0;
  /// Lets the next read begin with the first byte again.
  virtual void rewind() = 0;
};

struct FileContent {
  std::optional<hash::FileDigests> digests;
  PeAnalysis pe;
  bool complete = false;  ///< read to its end
};

/// `size` is what the file's attributes say. Where a read fails, the file is read a second time, in pieces of
/// `context.readChunk`: its digests are those of the pieces before the one that fails. The PE analysis is
/// empty unless all bytes that it looks at could be read.
FileContent readContent(FileBytes& file, uint64_t size, const ScanContext& context, ScanScratch& scratch);

}  // namespace korvel
