// A few threads work ahead of the consumer, which gets the results in the order in which it put the items in.
//
// One thread owns the pipeline: it pushes items while there is room, then pops the oldest result, waiting for
// it where necessary. Items travel to the workers in small groups, since handing over one small file at a
// time costs more than the file. An exception of the work is kept and thrown by the pop() of its own item, so
// failures come in order too. Destruction abandons the items not yet begun and joins the workers.
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
#include <thread>
#include <utility>
#include <vector>

#include "base/mutex.h"
#include "base/sizes.h"

namespace korvel {

struct PipelineLimits {
  size_t windowItems = 128;           ///< items inside at any time
  uint64_t windowWeight = 64 * kMiB;  ///< bytes inside at any time; a heavier item is let in alone
  size_t groupItems = 16;             ///< items per hand-over
  uint64_t groupWeight = 1 * kMiB;    ///< bytes per hand-over
};

template <typename Item, typename Result>
class OrderedPipeline {
 public:
  using Work = std::function<Result(const Item&)>;

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
    if (weight >= limits_.groupWeight) handOver();  // no light item waits for a heavy one behind it
    if (!filling_) filling_ = std::make_shared<Group>();
    filling_->slots.push_back({std::move(item), weight, std::nullopt, nullptr});
    filling_->weight += weight;
    weight_ += weight;
    ++items_;
    if (filling_->slots.size() >= limits_.groupItems || filling_->weight >= limits_.groupWeight) handOver();
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
    if (++group->taken == group->slots.size()) groups_.pop_front();
    weight_ -= slot.weight;
    --items_;
    if (slot.error) std::rethrow_exception(slot.error);
    return {std::move(slot.item), std::move(*slot.result)};
  }

 private:
  struct Slot {
    Item item;
    uint64_t weight;
    std::optional<Result> result;
    std::exception_ptr error;
  };
  struct Group {
    std::vector<Slot> slots;  // touched by one side at a time: owner, one worker, owner
    uint64_t weight = 0;
    size_t taken = 0;     // by the owner
    size_t finished = 0;  // slots, from the first on; guarded by mutex_
  };

  bool startWorker(const std::function<Work()>& makeWork) {
    try {
      Work work = makeWork();
      threads_.emplace_back([this, own = std::move(work)] { workerLoop(own); });
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
        group = std::move(waiting_.front());
        waiting_.pop_front();
      }
      for (Slot& slot : group->slots) {
        try {
          slot.result.emplace(work(slot.item));
        } catch (...) {
          slot.error = std::current_exception();
        }
        if (!countFinished(*group)) return;
      }
    }
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
  const Group* awaited_ GUARDED_BY(mutex_) = nullptr;  // the group that the owner waits for
  bool ending_ GUARDED_BY(mutex_) = false;
};

}  // namespace korvel
