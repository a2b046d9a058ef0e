#include "base/interruptible_io.h"

#include "base/unique_resource.h"

namespace korvel {

void InterruptibleIo::endCalls() const {
  if (::GetCurrentThreadId() == threadId_) return;  // the stop was requested before, or by this thread itself
  constexpr DWORD kRepeatMs = 1;
  const UniqueHandle thread(::OpenThread(THREAD_TERMINATE, /*inherit=*/FALSE, threadId_));
  while (thread && !left_) {
    ::CancelSynchronousIo(thread.get());
    ::Sleep(kRepeatMs);
  }
}

}  // namespace korvel
