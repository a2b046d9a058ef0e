#include "engine/stop_flag.h"

#include <system_error>

namespace korvel::svc {

StopFlag::StopFlag()
    : event_(::CreateEventW(/*security=*/nullptr, /*manualReset=*/TRUE, /*initialState=*/FALSE,
                            /*name=*/nullptr)) {
  if (!event_)
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), "CreateEvent");
}

bool StopFlag::exchangeSet() {
  const bool before = set_.exchange(true);
  ::SetEvent(event_.get());
  return before;
}

bool StopFlag::sleep(uint32_t milliseconds) const {
  ::WaitForSingleObject(event_.get(), milliseconds);
  return isSet();
}

}  // namespace korvel::svc
