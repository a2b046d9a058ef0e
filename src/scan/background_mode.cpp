#include "scan/background_mode.h"

namespace korvel {

void enterBackgroundMode(const FileCalls& calls) {
  (void)calls.setThreadPriority(::GetCurrentThread(), THREAD_MODE_BACKGROUND_BEGIN);
}

BackgroundMode::BackgroundMode(const FileCalls& calls, bool wanted) : calls_(calls), wanted_(wanted) {
  if (wanted_) enterBackgroundMode(calls_);
}

BackgroundMode::~BackgroundMode() {
  if (wanted_) (void)calls_.setThreadPriority(::GetCurrentThread(), THREAD_MODE_BACKGROUND_END);
}

}  // namespace korvel
