#include "hash/multi_digest.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "hash/block_stream.h"
#include "hash/md5.h"
#include "hash/sha1.h"
#include "hash/sha256.h"
#include "hash/word_bytes.h"

namespace korvel::hash {
namespace {

/// A message that is not digested to its end.
struct Job {
  Message* message;
  const uint8_t* next;  ///< its first block that is still to be compressed
  size_t blocks;        ///< how many there are
  TripleState state;
};

TripleState initialState() {
  TripleState state;
  std::copy_n(Md5Algorithm::kInitialState.begin(), 4, state.md5);
  std::copy_n(Sha1Algorithm::kInitialState.begin(), 5, state.sha1);
  std::copy_n(Sha256Algorithm::kInitialState.begin(), 8, state.sha256);
  return state;
}

/// Pads the message in place.
Job jobFor(Message& message) {
  constexpr size_t kBitCountBytes = 8;
  const size_t blocks = (message.length + 1 + kBitCountBytes + kBlockBytes - 1) / kBlockBytes;
  uint8_t* const end = message.bytes + blocks * kBlockBytes;
  uint8_t* at = message.bytes + message.length;
  *at++ = 0x80;
  std::fill(at, end - kBitCountBytes, uint8_t{0});
  const uint64_t bits = uint64_t{8} * message.length;
  storeBe32(end - 8, static_cast<uint32_t>(bits >> 32));
  storeBe32(end - 4, static_cast<uint32_t>(bits));
  return {&message, message.bytes, blocks, initialState()};
}

template <size_t kWords>
std::array<uint8_t, 4 * kWords> bytesOf(const uint32_t (&state)[kWords], std::endian order) {
  std::array<uint32_t, kWords> words;
  std::copy_n(state, kWords, words.begin());
  return digestBytes(words, order);
}

void finish(const Job& job, const TripleState& state) {
  job.message->digests = {bytesOf(state.md5, std::endian::little), bytesOf(state.sha1, std::endian::big),
                          bytesOf(state.sha256, std::endian::big)};
}

/// Runs jobs in the lanes of one kernel. The longest come first, so that the last ones end together.
class Lanes {
 public:
  Lanes(const LaneKernel& kernel, std::vector<Job>& jobs) : kernel_(kernel), jobs_(jobs) {}

  /// Goes on while the kernel is worth its pass; what is left is in `jobs` again.
  void run() {
    for (size_t lane = 0; lane < kernel_.lanes; ++lane) refill(lane);
    while (active_ >= kernel_.worthLanes) step();
    for (size_t lane = 0; lane < kernel_.lanes; ++lane) putBack(lane);
  }

 private:
  /// Compresses up to the end of the shortest message in the lanes.
  void step() {
    size_t count = SIZE_MAX;
    const uint8_t* anyBlocks = nullptr;
    for (size_t lane = 0; lane < kernel_.lanes; ++lane) {
      if (!used_[lane]) continue;
      count = std::min(count, running_[lane].blocks);
      anyBlocks = running_[lane].next;
    }
    std::array<const uint8_t*, kMaxLanes> blocks;
    uint32_t last = 0;
    for (size_t lane = 0; lane < kernel_.lanes; ++lane) {
      blocks[lane] =
          used_[lane] ? running_[lane].next : anyBlocks;  // an idle lane reads what another one reads
      if (used_[lane] && running_[lane].blocks == count) last |= 1u << lane;
    }
    kernel_.compress(states_, blocks.data(), count, last);
    for (size_t lane = 0; lane < kernel_.lanes; ++lane) {
      if (!used_[lane]) continue;
      running_[lane].next += count * kBlockBytes;
      running_[lane].blocks -= count;
      if (running_[lane].blocks != 0) continue;
      finish(running_[lane], states_.get(lane));
      used_[lane] = false;
      --active_;
      refill(lane);
    }
  }

  void refill(size_t lane) {
    if (jobs_.empty()) return;
    running_[lane] = jobs_.back();
    jobs_.pop_back();
    states_.set(lane, running_[lane].state);
    used_[lane] = true;
    ++active_;
  }
  void putBack(size_t lane) {
    if (!used_[lane]) return;
    running_[lane].state = states_.get(lane);
    jobs_.push_back(running_[lane]);
  }

  const LaneKernel& kernel_;
  std::vector<Job>& jobs_;
  LaneStates states_{};
  std::array<Job, kMaxLanes> running_{};
  std::array<bool, kMaxLanes> used_{};
  size_t active_ = 0;
};

}  // namespace

void digestAll(std::span<Message> messages, std::span<const LaneKernel> kernels) {
  std::vector<Job> jobs;
  jobs.reserve(messages.size());
  for (Message& message : messages) jobs.push_back(jobFor(message));
  for (const LaneKernel& kernel : kernels) {
    if (!kernel.supported() || jobs.size() < kernel.worthLanes) continue;
    std::sort(jobs.begin(), jobs.end(), [](const Job& a, const Job& b) { return a.blocks < b.blocks; });
    Lanes(kernel, jobs).run();
  }
}

void digestAll(std::span<Message> messages) { digestAll(messages, laneKernels()); }

}  // namespace korvel::hash
