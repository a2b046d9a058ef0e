#include "engine/filter_link.h"

#include <array>
#include <cstdio>
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
    const std::optional<FilterMessage> message = decodeFilterMessage(ByteView(buffer.data(), buffer.size()));
    if (!message) continue;
    if (message->keepAlive) {
      answer(message->messageId, /*block=*/false);
      continue;
    }
    const bool allow = !callback_ || callback_(message->path);
    handled_.fetch_add(1);  // first: a query is counted before its answer is visible
    answer(message->messageId, !allow);
  }
  connected_.store(false);
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
