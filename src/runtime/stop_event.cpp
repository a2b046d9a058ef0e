#include "runtime/stop_event.h"

#include <system_error>
#include <utility>

#include "base/error.h"

namespace korvel {
namespace {

UniqueHandle createEvent() {
  UniqueHandle event(
      ::CreateEventW(/*security=*/nullptr, /*manualReset=*/TRUE, /*initialState=*/FALSE, /*name=*/nullptr));
  if (!event) {
    throw std::system_error(static_cast<int>(::GetLastError()), win32Category(), "CreateEvent");
  }
  return event;
}

}  // namespace

StopEvent::StopEvent(StopToken token)
    : token_(std::move(token)),
      event_(createEvent()),
      signal_(token_, [this] { ::SetEvent(event_.get()); }) {}

bool StopEvent::sleep(uint32_t milliseconds) const {
  ::WaitForSingleObject(event_.get(), milliseconds);
  return requested();
}

}  // namespace korvel
