// One blocking GET over WinHTTP, from the address to the last byte of the body. The rest of the service uses
// it through http_client.h.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/mutex.h"
#include "base/sizes.h"
#include "base/unique_resource.h"
#include "base/win.h"
#include "net/step_clock.h"

#include <winhttp.h>

namespace korvel {

/// The longest body that is accepted; one byte more is "response too large".
inline constexpr uint64_t kMaxHttpBodyBytes = 128 * kMiB;

struct HttpAddress {
  std::wstring host;
  std::wstring target;  ///< path, query and fragment
  uint16_t port = 0;
  bool secure = false;
};

/// Splits an absolute http or https address; its error texts are those of httpGet().
bool splitUrl(const std::string& url, HttpAddress& address, std::string* error);

/// Receives an answer with a status from 200 to 299.
class HttpReceiver {
 public:
  virtual ~HttpReceiver() = default;
  /// The length that the server announces, in bytes; 0 when it announces none.
  virtual void begin(uint64_t announcedBytes) = 0;
  /// The next bytes of the body, a few kilobytes. False ends the exchange.
  virtual bool take(std::string_view piece) = 0;
};

struct InternetHandleTraits {
  using Value = HINTERNET;
  static Value empty() { return nullptr; }
  static bool valid(HINTERNET handle) { return handle != nullptr; }
  static void close(HINTERNET handle) { ::WinHttpCloseHandle(handle); }
};
using UniqueInternet = UniqueResource<InternetHandleTraits>;

/// One thread calls run(), another watches it. The handles close with this object at the latest.
class HttpExchange {
 public:
  explicit HttpExchange(HttpAddress address);
  HttpExchange(const HttpExchange&) = delete;
  HttpExchange& operator=(const HttpExchange&) = delete;

  /// Blocks for as long as the platform does. Call once. Throws what the receiver throws, and std::bad_alloc.
  bool run(HttpReceiver& receiver, std::string* error);

  /// No step of run() is too long before this moment.
  StepClock::Clock::time_point lookAgainAt() const { return clock_->lookAgainAt(); }

  /// True, with the step's time-out in `error`, when a step lasts longer than 15 s. The handles are closed
  /// then, so that run() returns when the platform lets it; its outcome must be ignored.
  bool giveUpOverdue(std::string* error) EXCLUDES(mutex_);

 private:
  bool open(std::string* error);
  void watchSteps();
  bool sendRequest(std::string* error);
  bool readBody(HttpReceiver& receiver, std::string* error);
  HINTERNET keep(UniqueInternet HttpExchange::*owner, HINTERNET handle) EXCLUDES(mutex_);
  template <typename Call>
  bool step(const char* name, std::string* error, const Call& call);

  const HttpAddress address_;
  const std::shared_ptr<StepClock> clock_ = std::make_shared<StepClock>();
  HINTERNET request_ = nullptr;  // for the calls of run(), none of which begins after a giving up

  // Closed in reverse: request, connection, session.
  Mutex mutex_;
  UniqueInternet sessionOwner_ GUARDED_BY(mutex_);
  UniqueInternet connectionOwner_ GUARDED_BY(mutex_);
  UniqueInternet requestOwner_ GUARDED_BY(mutex_);
};

}  // namespace korvel
