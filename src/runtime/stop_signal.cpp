#include "runtime/stop_signal.h"

namespace korvel {

StopSignal& StopSignal::process() {
  // Never destroyed: a console handler may still run on its own thread while the process ends.
  static StopSignal& signal = *new StopSignal;
  return signal;
}

bool StopSignal::createEvent() {
  const MutexLock lock(mutex_);
  stopEvent_.reset(::CreateEventW(/*security=*/nullptr, /*manualReset=*/TRUE, /*initialState=*/FALSE,
                                  /*name=*/nullptr));
  return static_cast<bool>(stopEvent_);
}

void StopSignal::closeEvent() {
  const MutexLock lock(mutex_);
  stopEvent_.reset();
}

void StopSignal::requestStop() {
  stopRequested_.exchange(1);
  {
    const MutexLock lock(mutex_);
    if (stopEvent_) ::SetEvent(stopEvent_.get());
  }
  source_.request_stop();
}

HANDLE StopSignal::event() const {
  const MutexLock lock(mutex_);
  return stopEvent_.get();
}

}  // namespace korvel
