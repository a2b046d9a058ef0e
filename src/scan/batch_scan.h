// Scans a run of files many at a time: reads them into one arena, digests them together, then judges them in
// their order.
//
// A single file cannot be digested faster than the chain of dependent steps in MD5 allows, and that leaves
// most of a processor idle. Many files fill it (hash/multi_digest.h).
//
// Pure. A BatchScan serves one thread at a time.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "base/byte_view.h"
#include "base/sizes.h"
#include "base/stop.h"
#include "hash/file_digests.h"
#include "hash/multi_digest.h"
#include "scan/scan_records.h"

namespace korvel {

/// A larger file is scanned by itself: it would keep one lane busy long after the others are done.
inline constexpr uint64_t kBatchFileLimitBytes = 3 * kMiB;
inline constexpr size_t kBatchArenaBytes = 16 * kMiB;
/// A batch is digested as it is when reading it has taken this long.
inline constexpr std::chrono::milliseconds kBatchReadTime{5};

enum class BatchRead {
  kRead,      ///< the file is in the arena
  kAlone,     ///< the file is scanned by itself when it is its turn
  kNextBatch  ///< the file needs more of the arena than is left, but not more than all of it
};

/// A run of files, by their index in it.
class BatchFiles {
 public:
  virtual ~BatchFiles() = default;

  /// Reads a whole file to the beginning of `room`, part of the arena, and says how many bytes it had. At
  /// least hash::kMessagePaddingBytes of `room` must be left behind them.
  virtual BatchRead read(size_t index, std::span<uint8_t> room, size_t& bytesRead) = 0;

  /// The verdict of a file that was read. `digests` is null for one that was read with no other beside it.
  virtual FileVerdict judge(size_t index, ByteView bytes, const hash::FileDigests* digests) = 0;

  /// The verdict of a file that was not read. May overwrite the arena.
  virtual FileVerdict scanAlone(size_t index) = 0;
};

class BatchScan {
 public:
  /// Returns kBatchArenaBytes of memory that stay valid while one batch is scanned.
  using Arena = std::function<uint8_t*()>;
  /// Takes the next verdict; false once no more are wanted.
  using Deliver = std::function<bool(FileVerdict)>;

  /// Once `cancelled` is requested, no further file is read; what has been read is digested and judged. Once
  /// `abandoned` is requested, nothing more is delivered. `kernels` must outlive this object.
  BatchScan(Arena arena, StopToken cancelled, StopToken abandoned,
            std::span<const hash::LaneKernel> kernels = hash::laneKernels());

  /// Delivers the verdicts of `count` files in their order, and returns how many it has delivered. Throws
  /// what the files and `deliver` throw, and std::bad_alloc; the verdicts before that are delivered.
  size_t scan(BatchFiles& files, size_t count, const Deliver& deliver);

 private:
  static constexpr size_t kNotRead = SIZE_MAX;

  void readBatch(BatchFiles& files, size_t first, size_t count);
  bool deliverBatch(BatchFiles& files, size_t& delivered, const Deliver& deliver);
  FileVerdict judge(BatchFiles& files, size_t index, size_t message) const;
  void judgeFrom(BatchFiles& files, size_t position, size_t index);
  bool cut() const { return cancelled_.stop_requested() || abandoned_.stop_requested(); }

  const Arena arena_;
  const StopToken cancelled_;
  const StopToken abandoned_;
  const std::span<const hash::LaneKernel> kernels_;
  const bool worthBatches_;  // some kernel has more than one lane

  // The batch at hand: where each of its files is in `messages_`, or kNotRead.
  std::vector<size_t> places_;
  std::vector<hash::Message> messages_;
  std::vector<FileVerdict> judgedEarly_;  // in the place of its message; empty, or as long as `messages_`
};

}  // namespace korvel
