// One sweep over the buffer serves every range: the histogram of a range is the running histogram at its end
// minus the one at its start. Only the snapshots of the ranges that are open at the moment are kept; ordinary
// files, whose sections follow each other, need one.
#include "pe/entropy.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <deque>
#include <numbers>

namespace korvel {
namespace {

// A sweep keeps at most one snapshot of 1 KiB per range, so 16 MiB. Images with more sections are measured in
// batches: at most 65,535 sections, so at most four sweeps.
constexpr size_t kRangesPerSweep = 16'384;

/// log2 of a positive integer below 2^40, to the last bits of a double and exact for powers of two. The C
/// library of the Windows build computes it on the x87 unit, which takes five times as long, and a scan needs
/// a few thousand per image.
class IntegerLog2 {
 public:
  IntegerLog2() {
    for (size_t i = 0; i < kSteps; ++i) {
      const double start = 1.0 + static_cast<double>(i) / kSteps;
      steps_[i] = {std::log2(start), 1.0 / start};
    }
    for (uint64_t value = 1; value < kSmall; ++value) small_[value] = computed(value);
  }

  double operator()(uint64_t value) const { return value < kSmall ? small_[value] : computed(value); }

 private:
  static constexpr int kFractionBits = 40;
  static constexpr int kStepBits = 7;
  static constexpr size_t kSteps = size_t{1} << kStepBits;
  static constexpr uint64_t kSmall = 256;
  struct Step {
    double log2;     // of the step's start
    double inverse;  // 1 / start
  };

  double computed(uint64_t value) const {
    const int exponent = static_cast<int>(std::bit_width(value)) - 1;
    const uint64_t scaled = value << (kFractionBits - exponent);  // value / 2^exponent, in [1, 2)
    const Step& step = steps_[(scaled >> (kFractionBits - kStepBits)) % kSteps];
    const double mantissa = static_cast<double>(scaled) / (uint64_t{1} << kFractionBits);
    const double x = mantissa * step.inverse - 1.0;  // in [0, 1/128): seven terms of ln(1 + x) leave 2^-59
    const double ln =
        x * (1 + x * (-1.0 / 2 + x * (1.0 / 3 + x * (-1.0 / 4 + x * (1.0 / 5 + x * (-1.0 / 6 + x / 7))))));
    return exponent + step.log2 + ln * std::numbers::log2e;
  }

  Step steps_[kSteps];
  double small_[kSmall] = {};  // most counts of most sections
};

const IntegerLog2& integerLog2() {
  static const IntegerLog2 log2;
  return log2;
}

/// A non-empty range, clipped to the buffer.
struct OpenRange {
  uint64_t begin;
  uint64_t end;
  size_t index;  // in the caller's list
};

class Sweep {
  // The low halves of the counts: enough for the difference over less than 4 GiB, at half the memory.
  using Snapshot = std::array<uint32_t, 256>;

 public:
  /// Starts at 0. Until restartAt(), the bytes that it passes are also fed to `digest` (null = none).
  Sweep(ByteView bytes, hash::TripleDigest* digest) : bytes_(bytes), digest_(digest) {}

  /// Starts anew at `position`, over bytes that the first run has passed.
  void restartAt(uint64_t position) {
    position_ = position;
    running_.fill(0);
    digest_ = nullptr;
  }

  void advanceTo(uint64_t position) {
    const ByteView passed = bytes_.clipped(position_, position - position_);
    if (digest_ != nullptr) {
      digest_->updateAndCount(passed.data(), passed.size(), running_);
    } else {
      hash::countBytes(passed.data(), passed.size(), running_);
    }
    position_ = position;
  }

  /// Saves the running histogram; returns its slot, valid until releaseSnapshot().
  size_t takeSnapshot() {
    if (freeSlots_.empty()) {
      freeSlots_.push_back(snapshots_.size());
      snapshots_.emplace_back();
    }
    const size_t slot = freeSlots_.back();
    freeSlots_.pop_back();
    std::transform(running_.begin(), running_.end(), snapshots_[slot].begin(),
                   [](uint64_t count) { return static_cast<uint32_t>(count); });
    return slot;
  }

  /// The entropy of the bytes between the snapshot and the present position.
  double entropySince(size_t slot) const {
    hash::ByteCounts between;
    for (size_t value = 0; value < between.size(); ++value) {
      between[value] = static_cast<uint32_t>(running_[value]) - snapshots_[slot][value];
    }
    return shannonEntropy(between);
  }

  void releaseSnapshot(size_t slot) { freeSlots_.push_back(slot); }

  const hash::ByteCounts& running() const { return running_; }

 private:
  const ByteView bytes_;
  hash::TripleDigest* digest_;
  uint64_t position_ = 0;
  hash::ByteCounts running_{};
  std::deque<Snapshot> snapshots_;  // grows without moving them
  std::vector<size_t> freeSlots_;
};

std::vector<OpenRange> clippedInOrder(ByteView bytes, std::span<const ByteRange> ranges) {
  std::vector<OpenRange> result;
  for (size_t index = 0; index < ranges.size(); ++index) {
    const size_t size = bytes.clipped(ranges[index].offset, ranges[index].size).size();
    if (size != 0) result.push_back({ranges[index].offset, ranges[index].offset + size, index});
  }
  std::sort(result.begin(), result.end(),
            [](const OpenRange& a, const OpenRange& b) { return a.begin < b.begin; });
  return result;
}

/// Runs the sweep from its present position to the last end in the batch, which is sorted by `begin`.
void sweepBatch(Sweep& sweep, std::span<const OpenRange> batch, std::vector<double>& entropies) {
  std::vector<size_t> byEnd(batch.size());
  for (size_t i = 0; i < byEnd.size(); ++i) byEnd[i] = i;
  std::sort(byEnd.begin(), byEnd.end(), [batch](size_t a, size_t b) { return batch[a].end < batch[b].end; });

  std::vector<size_t> slots(batch.size());
  size_t nextBegin = 0;
  for (const size_t closing : byEnd) {
    for (; nextBegin < batch.size() && batch[nextBegin].begin < batch[closing].end; ++nextBegin) {
      sweep.advanceTo(batch[nextBegin].begin);
      slots[nextBegin] = sweep.takeSnapshot();
    }
    sweep.advanceTo(batch[closing].end);
    entropies[batch[closing].index] = sweep.entropySince(slots[closing]);
    sweep.releaseSnapshot(slots[closing]);
  }
}

}  // namespace

double shannonEntropy(const hash::ByteCounts& counts) {
  uint64_t total = 0;
  for (const uint64_t count : counts) total += count;
  if (total == 0) return 0.0;
  // p * -log2(p) of each value, times the total.
  const IntegerLog2& log2 = integerLog2();
  const double log2OfTotal = log2(total);
  double weighted = 0.0;
  for (const uint64_t count : counts) {
    weighted += static_cast<double>(count) * (log2OfTotal - log2(count));
  }
  return weighted / static_cast<double>(total);
}

BufferEntropies measureEntropies(ByteView bytes, std::span<const ByteRange> ranges,
                                 hash::TripleDigest* digest) {
  BufferEntropies result;
  result.ranges.resize(ranges.size());
  const std::vector<OpenRange> ordered = clippedInOrder(bytes, ranges);
  const std::span<const OpenRange> all(ordered);

  Sweep sweep(bytes, digest);
  const size_t first = std::min(all.size(), kRangesPerSweep);
  sweepBatch(sweep, all.first(first), result.ranges);
  sweep.advanceTo(bytes.size());
  result.whole = shannonEntropy(sweep.running());

  for (size_t at = first; at < all.size(); at += kRangesPerSweep) {
    const auto batch = all.subspan(at, std::min(all.size() - at, kRangesPerSweep));
    sweep.restartAt(batch.front().begin);
    sweepBatch(sweep, batch, result.ranges);
  }
  return result;
}

}  // namespace korvel
