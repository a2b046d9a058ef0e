// Scans a run of files that a walk has found, with the help of batch_scan.h.
#pragma once

#include <cstddef>
#include <span>

#include "scan/batch_scan.h"
#include "scan/directory_walk.h"
#include "scan/scan_context.h"

namespace korvel {

/// Serves one thread at a time.
class WalkedFilesScan {
 public:
  /// `context` and `scratch` must outlive this object. Once `cancelled` is requested, no further file is
  /// read.
  WalkedFilesScan(const ScanContext& context, ScanScratch& scratch, StopToken cancelled);

  /// Delivers the verdicts of the files, as scanFile() would yield them, in their order, and returns how many
  /// it has delivered: fewer than there are after a cancel, a stop (the context's `abandoned`), or when
  /// `deliver` returns false. `deliver` may take its file away. Throws what `deliver` throws, and
  /// std::bad_alloc.
  size_t scan(std::span<const WalkedFile> files, const BatchScan::Deliver& deliver);

 private:
  const ScanContext& context_;
  ScanScratch& scratch_;
  BatchScan batches_;
};

}  // namespace korvel
