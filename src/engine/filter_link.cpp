#include "engine/filter_link.h"

#include <array>
#include <cstdio>
#include <new>
#include <optional>
#include <utility>

#include "base/byte_view.h"
#include "base/error.h"
#include "base/win.h"
#include "engine/filter_messages.h"

#include <fltuser.h>

namespace korvel::svc {
namespace {

constexpr wchar_t kPortName[] = L"\\\\.\\pipe\\KorvelFilterPort";

}  // namespace

void FilterLink::PortTraits::close(HANDLE port) { ::FilterClose(port); }

FilterLink::~FilterLink() { stop(); }

bool FilterLink::connect(Callback callback, std::string* error) {
  const HRESULT result =
      ::FilterConnectCommunicationPort(kPortName, /*options=*/0, /*context=*/nullptr,
                                       /*sizeOfContext=*/0, /*security=*/nullptr, port_.receive());
  if (result != S_OK || !port_) {
    char code[32];
    std::snprintf(code, sizeof code, " (hr=0x%08lX)", static_cast<unsigned long>(result));
    return fail(error, std::string("фильтр-драйвер недоступен") + code);
  }
  callback_ = std::move(callback);
  connected_.store(true);
  try {
    thread_ = std::thread([this] { loop(); });
  } catch (...) {
    connected_.store(false);
    port_.reset();
    throw;
  }
  return true;
}

void FilterLink::stop() {
  stop_.request_stop();
  if (thread_.joinable()) thread_.join();
  port_.reset();
  connected_.store(false);
}

void FilterLink::loop() {
  while (!stop_.stop_requested()) {
    alignas(8) std::array<uint8_t, kFilterMessageBytes> buffer{};
    if (::FilterGetMessage(port_.get(), reinterpret_cast<PFILTER_MESSAGE_HEADER>(buffer.data()),
                           static_cast<DWORD>(buffer.size()), /*overlapped=*/nullptr) != S_OK) {
      break;
    }
    serve(ByteView(buffer.data(), buffer.size()));
  }
  connected_.store(false);
}

/// Answers one message, unless it is malformed.
void FilterLink::serve(ByteView buffer) {
  bool allow = true;
  try {
    const std::optional<FilterMessage> message = decodeFilterMessage(buffer);
    if (!message) return;
    if (message->keepAlive) return answer(message->messageId, /*block=*/false);
    if (callback_) allow = callback_(message->path);
  } catch (const std::bad_alloc&) {
    // No memory for the path. As with any other failure the user is not locked out.
  }
  handled_.fetch_add(1);  // first: a query is counted before its answer is visible
  answer(filterMessageId(buffer), !allow);
}

void FilterLink::answer(uint64_t messageId, bool block) {
  std::array<uint8_t, kFilterAnswerBytes> bytes = encodeFilterAnswer(messageId, block);
  DWORD returned = 0;
  // A driver that does not take the answer decides by its own time-out.
  (void)::FilterSendMessage(port_.get(), bytes.data(), static_cast<DWORD>(bytes.size()),
                            /*outBuffer=*/nullptr,
                            /*outBufferSize=*/0, &returned);
}

}  // namespace korvel::svc
