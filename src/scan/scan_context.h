// What scanning files needs: the limits and the database, and the memory that goes from file to file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "base/stop.h"
#include "hash/lane_kernels.h"
#include "hash/triple_digest.h"
#include "scan/file_calls.h"

namespace korvel {

class SignatureDatabase;

/// What scanning one file needs. A value; the database is shared and thread-safe.
struct ScanContext {
  std::shared_ptr<const SignatureDatabase> database;
  uint64_t maxFileSize = 0;  ///< bytes, inclusive
  /// Bytes of one read of a large file, within 64 to 256 KiB. A file in which a read fails is read again in
  /// pieces of exactly this size.
  uint64_t readChunk = 0;
  /// Once it is requested, large files are no longer read to their end, and verdicts are worthless.
  StopToken abandoned;
  const FileCalls* calls = &FileCalls::windows();  ///< never null; outlives every scan
  /// Best first; they digest what is read in batches. Changes no result.
  std::span<const hash::LaneKernel> kernels = hash::laneKernels();
};

/// The memory that scanning reuses from file to file: one page-aligned read buffer, and room for the kept
/// bytes of a large image or for many small files. Grows to what the files need, at most 72 MiB. Serves one
/// thread at a time.
class ScanScratch {
 public:
  /// At least `bytes` of room, page-aligned, content unspecified. Valid until the next call.
  uint8_t* readBuffer(size_t bytes);
  /// Room for the first bytes of a large image, or for a batch of files. Valid until the next call.
  uint8_t* imageBuffer(size_t bytes);
  hash::TripleDigest& digest() { return digest_; }
  /// How much memory the buffers take at present.
  size_t bytes() const { return read_.size + image_.size; }

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

}  // namespace korvel
