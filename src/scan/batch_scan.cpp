#include "scan/batch_scan.h"

#include <algorithm>
#include <utility>

namespace korvel {
namespace {

using Clock = std::chrono::steady_clock;

/// Messages begin at multiples of this, so that no block of one is spread over two lines of the cache.
constexpr size_t kMessageAlignment = 64;

size_t alignedUp(size_t bytes) {
  return (bytes + kMessageAlignment - 1) / kMessageAlignment * kMessageAlignment;
}

bool hasLanes(std::span<const hash::LaneKernel> kernels) {
  return std::any_of(kernels.begin(), kernels.end(),
                     [](const hash::LaneKernel& kernel) { return kernel.lanes > 1 && kernel.supported(); });
}

}  // namespace

BatchScan::BatchScan(Arena arena, StopToken cancelled, StopToken abandoned,
                     std::span<const hash::LaneKernel> kernels)
    : arena_(std::move(arena)),
      cancelled_(std::move(cancelled)),
      abandoned_(std::move(abandoned)),
      kernels_(kernels),
      worthBatches_(hasLanes(kernels)) {}

size_t BatchScan::scan(BatchFiles& files, size_t count, const Deliver& deliver) {
  size_t delivered = 0;
  bool wanted = true;
  while (wanted && delivered < count) {
    readBatch(files, delivered, count);
    if (places_.empty()) break;
    // A single message is digested and counted in one pass, which is cheaper than two.
    if (messages_.size() > 1) hash::digestAll(messages_, kernels_);
    wanted = deliverBatch(files, delivered, deliver);
  }
  return delivered;
}

/// Counts in `delivered`, which is the index of the batch's first file. False when there is an end to it.
bool BatchScan::deliverBatch(BatchFiles& files, size_t& delivered, const Deliver& deliver) {
  for (size_t position = 0; position < places_.size(); ++position) {
    const size_t place = places_[position];
    FileVerdict verdict;
    if (place == kNotRead) {
      if (cut()) return false;
      judgeFrom(files, position + 1, delivered + 1);
      verdict = files.scanAlone(delivered);
    } else if (!judgedEarly_.empty()) {
      verdict = std::move(judgedEarly_[place]);
    } else {
      verdict = judge(files, delivered, place);
    }
    if (abandoned_.stop_requested()) return false;
    ++delivered;
    if (!deliver(std::move(verdict))) return false;
  }
  return true;
}

FileVerdict BatchScan::judge(BatchFiles& files, size_t index, size_t message) const {
  const hash::Message& read = messages_[message];
  return files.judge(index, ByteView(read.bytes, read.length),
                     messages_.size() > 1 ? &read.digests : nullptr);
}

/// Judges what the arena holds from a position of the batch on, which is the file `index`: a file by itself
/// may take the memory.
void BatchScan::judgeFrom(BatchFiles& files, size_t position, size_t index) {
  if (!judgedEarly_.empty()) return;
  for (; position < places_.size(); ++position, ++index) {
    if (places_[position] == kNotRead) continue;
    judgedEarly_.resize(messages_.size());
    try {
      judgedEarly_[places_[position]] = judge(files, index, places_[position]);
    } catch (...) {
      places_.resize(position);  // it fails in its turn, as the first of the next batch
      return;
    }
  }
}

/// The files from `first` on, until the arena is full, the time is over or the scan is cut.
void BatchScan::readBatch(BatchFiles& files, size_t first, size_t count) {
  places_.clear();
  messages_.clear();
  judgedEarly_.clear();
  const Clock::time_point began = Clock::now();
  size_t used = 0;
  for (size_t index = first; index < count && !cut(); ++index) {
    if (!worthBatches_) {
      places_.push_back(kNotRead);
      return;
    }
    if (!places_.empty() && Clock::now() - began >= kBatchReadTime) return;
    uint8_t* const at = arena_() + used;
    size_t bytes = 0;
    switch (files.read(index, {at, kBatchArenaBytes - used}, bytes)) {
      case BatchRead::kRead:
        places_.push_back(messages_.size());
        messages_.push_back({at, bytes, {}});
        used = alignedUp(used + bytes + hash::kMessagePaddingBytes);
        if (used >= kBatchArenaBytes) return;
        break;
      case BatchRead::kAlone:
        places_.push_back(kNotRead);
        break;
      case BatchRead::kNextBatch:
        if (places_.empty()) places_.push_back(kNotRead);  // cannot be: it would have all of the arena
        return;
    }
  }
}

}  // namespace korvel
