// File and directory calls that a stop can end, however long the device behind them stays silent.
//
// Windows only. CancelSynchronousIo ends one call, which may not have begun yet when the stop comes. So the
// thread that requests the stop repeats it until this thread has left its calls, and waits for that.
#pragma once

#include <atomic>
#include <functional>

#include "base/stop.h"
#include "base/win.h"

namespace korvel {

/// While it lives, the stop ends the calls of the thread that made it: they fail, mostly with
/// ERROR_OPERATION_ABORTED. Make it for a few calls in a row, and look at the stop between them. It must not
/// live while its thread waits for the thread that requests the stop, or writes what the stop must not lose.
class InterruptibleIo {
 public:
  explicit InterruptibleIo(const StopToken& stop) : callback_(stop, [this] { endCalls(); }) {}
  ~InterruptibleIo() { left_ = true; }
  InterruptibleIo(const InterruptibleIo&) = delete;
  InterruptibleIo& operator=(const InterruptibleIo&) = delete;

 private:
  void endCalls() const;

  const DWORD threadId_ = ::GetCurrentThreadId();
  std::atomic<bool> left_{false};
  StopCallback callback_;  // last: its end waits for a running endCalls()
};

}  // namespace korvel
