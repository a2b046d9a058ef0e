// The content of one file becomes its digests and its PE analysis, from one read of its bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "base/byte_view.h"
#include "base/sizes.h"
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

/// Up to this size a file is read with one call.
inline constexpr uint64_t kWholeReadLimitBytes = 8 * kMiB;

struct FileContent {
  std::optional<hash::FileDigests> digests;
  PeAnalysis pe;
  bool complete = false;  ///< read to its end
};

/// `size` is what the file's attributes say. Where a read fails, the file is read a second time, in pieces of
/// `context.readChunk`: its digests are those of the pieces before the one that fails. The PE analysis is
/// empty unless all bytes that it looks at could be read.
FileContent readContent(FileBytes& file, uint64_t size, const ScanContext& context, ScanScratch& scratch);

/// The content of a file of `size` bytes that was read whole. Where its `digests` are known already, only the
/// PE analysis is left to do; null = they come from the same pass.
FileContent contentOfBytes(ByteView bytes, uint64_t size, const hash::FileDigests* digests,
                           hash::TripleDigest& digest);

}  // namespace korvel
