// A few threads work ahead of the consumer, which gets the results in the order in which it put the items in.
//
// One thread owns the pipeline: it pushes items while there is room, then pops the oldest result, waiting for
// it where necessary. Items travel to the workers in groups, since handing over one small file at a time
// costs more than the file, and since the work may do much better on many items at once. A group grows while
// every worker has something to do; for an idle worker a smaller one is enough. An exception of the work is
// kept and thrown by the pop() of its own item, so failures come in order too. Destruction abandons the items
// not yet begun and joins the workers.
//
// Pure: standard threads only. Not thread-safe: only the owning thread may call it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "base/mutex.h"
#include "base/sizes.h"

namespace korvel {

struct PipelineLimits {
  size_t windowItems = 256;           ///< items inside at any time
  uint64_t windowWeight = 96 * kMiB;  ///< bytes inside at any time; a heavier item is let in alone
  size_t groupItems = 16;             ///< this many items are handed to an idle worker
  uint64_t groupWeight = 1 * kMiB;    ///< and so are this many bytes
  size_t fullItems = 64;              ///< a group of this many items is handed over at any rate
  uint64_t fullWeight = 12 * kMiB;    ///< and so is one of this many bytes; such an item travels alone
};

template <typename Item, typename Result>
class OrderedPipeline {
 public:
  /// Takes the result of the first item of a group that has none yet; false once no more are wanted.
  using Finish = std::function<bool(Result)>;
  /// Works on one group and finishes each item in turn. An item may be gone once it is finished. Where it
  /// throws, the first unfinished item has failed, and it is called again for those behind.
  using Work = std::function<void(std::span<const Item>, const Finish&)>;

  /// Work that does not care for groups.
  static Work oneByOne(std::function<Result(const Item&)> work) {
    return [work = std::move(work)](std::span<const Item> items, const Finish& finish) {
      for (const Item& item : items) {
        if (!finish(work(item))) return;
      }
    };
  }

  /// Starts up to `workers` threads. Each gets a function of its own from `makeWork`, called on this thread,
  /// so that work may keep buffers without a lock. A worker that cannot be made is left out.
  OrderedPipeline(size_t workers, const std::function<Work()>& makeWork, const PipelineLimits& limits = {})
      : limits_(limits) {
    while (threads_.size() < workers && startWorker(makeWork)) {
    }
  }
  ~OrderedPipeline() {
    {
      const MutexLock lock(mutex_);
      ending_ = true;
      waiting_.clear();
    }
    wakeWorkers_.notifyAll();
    for (std::thread& thread : threads_) thread.join();
  }
  OrderedPipeline(const OrderedPipeline&) = delete;
  OrderedPipeline& operator=(const OrderedPipeline&) = delete;

  /// The threads that could be made. With none, nothing may be pushed.
  size_t workers() const { return threads_.size(); }

  bool empty() const { return items_ == 0; }

  /// True while another item of this weight fits into the window.
  bool hasRoom(uint64_t weight) const {
    return empty() || (items_ < limits_.windowItems && weight_ + weight <= limits_.windowWeight);
  }

  void push(Item item, uint64_t weight) {
    if (weight >= limits_.fullWeight) handOver();  // no light item waits for a heavy one behind it
    if (!filling_) filling_ = std::make_shared<Group>();
    filling_->items.push_back(std::move(item));
    filling_->slots.push_back({weight, std::nullopt, nullptr});
    filling_->weight += weight;
    weight_ += weight;
    ++items_;
    const size_t items = filling_->items.size();
    const bool full = items >= limits_.fullItems || filling_->weight >= limits_.fullWeight;
    const bool enough = items >= limits_.groupItems || filling_->weight >= limits_.groupWeight;
    if (full || (enough && workerIdle())) handOver();
  }

  /// True when a worker waits for a group that nobody has handed over.
  bool workerIdle() const EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    return idle_ > waiting_.size();
  }

  /// Lets the workers begin with the items pushed last, even though their group is not full.
  void handOver() EXCLUDES(mutex_) {
    if (!filling_) return;
    groups_.push_back(filling_);
    {
      const MutexLock lock(mutex_);
      waiting_.push_back(std::move(filling_));
    }
    filling_.reset();
    wakeWorkers_.notifyOne();
  }

  /// True when the oldest item is finished, so that pop() need not wait.
  bool ready() const EXCLUDES(mutex_) {
    if (groups_.empty()) return false;
    const MutexLock lock(mutex_);
    return groups_.front()->finished > groups_.front()->taken;
  }

  /// The oldest item with its result; throws what its work threw. Must not be called when empty().
  std::pair<Item, Result> pop() {
    if (groups_.empty()) handOver();
    const std::shared_ptr<Group> group = groups_.front();
    awaitNext(*group);
    Slot slot = std::move(group->slots[group->taken]);
    Item item = std::move(group->items[group->taken]);
    if (++group->taken == group->slots.size()) groups_.pop_front();
    weight_ -= slot.weight;
    --items_;
    if (slot.error) std::rethrow_exception(slot.error);
    return {std::move(item), std::move(*slot.result)};
  }

 private:
  struct Slot {
    uint64_t weight;
    std::optional<Result> result;
    std::exception_ptr error;
  };
  struct Group {
    // Each element is touched by one side at a time: owner, one worker, and the owner once it is finished.
    std::vector<Item> items;
    std::vector<Slot> slots;
    uint64_t weight = 0;
    size_t taken = 0;     // by the owner
    size_t finished = 0;  // slots, from the first on; guarded by mutex_
  };

  bool startWorker(const std::function<Work()>& makeWork) {
    try {
      Work work = makeWork();
      threads_.emplace_back([this, own = std::move(work)] { workerLoop(own); });
      const MutexLock lock(mutex_);
      ++idle_;
      return true;
    } catch (const std::exception&) {
      return false;
    }
  }

  void awaitNext(const Group& group) {
    const MutexLock lock(mutex_);
    awaited_ = &group;
    while (group.finished == group.taken) slotFinished_.wait(mutex_);
    awaited_ = nullptr;
  }

  void workerLoop(const Work& work) {
    for (;;) {
      std::shared_ptr<Group> group;
      {
        const MutexLock lock(mutex_);
        while (!ending_ && waiting_.empty()) wakeWorkers_.wait(mutex_);
        if (ending_) return;
        --idle_;
        group = std::move(waiting_.front());
        waiting_.pop_front();
      }
      if (!workOn(*group, work)) return;
      const MutexLock lock(mutex_);
      ++idle_;
    }
  }

  /// False at the end.
  bool workOn(Group& group, const Work& work) {
    const std::span<const Item> items(group.items);
    size_t finished = 0;
    bool wanted = true;
    const Finish finish = [&](Result result) {
      group.slots[finished++].result.emplace(std::move(result));
      wanted = countFinished(group);
      return wanted;
    };
    while (wanted && finished < items.size()) {
      try {
        work(items.subspan(finished), finish);
        if (wanted && finished < items.size()) throw std::logic_error("an item was left unfinished");
      } catch (...) {
        if (finished == items.size()) break;
        group.slots[finished++].error = std::current_exception();
        wanted = countFinished(group);
      }
    }
    return wanted;
  }

  /// Every slot by itself: a result must not wait for a slow neighbour in its group. False at the end.
  bool countFinished(Group& group) EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    ++group.finished;
    if (awaited_ == &group) slotFinished_.notifyOne();
    return !ending_;
  }

  const PipelineLimits limits_;

  // The owner's side.
  std::shared_ptr<Group> filling_;             // not yet handed over
  std::deque<std::shared_ptr<Group>> groups_;  // handed over, oldest first
  size_t items_ = 0;
  uint64_t weight_ = 0;
  std::vector<std::thread> threads_;

  mutable Mutex mutex_;
  ConditionVariable wakeWorkers_;
  ConditionVariable slotFinished_;
  std::deque<std::shared_ptr<Group>> waiting_ GUARDED_BY(mutex_);
  size_t idle_ GUARDED_BY(mutex_) = 0;                 // workers without a group, still starting or waiting
  const Group* awaited_ GUARDED_BY(mutex_) = nullptr;  // the group that the owner waits for
  bool ending_ GUARDED_BY(mutex_) = false;
};

}  // namespace korvel
