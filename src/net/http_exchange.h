// One blocking GET over WinHTTP, from the address to the last byte of the body. The rest of the service uses
// it through http_client.h.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/sizes.h"

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

/// Blocks for up to 15 s per step. When it returns, every handle is closed. Throws what the receiver throws,
/// and std::bad_alloc.
bool runExchange(const HttpAddress& address, HttpReceiver& receiver, std::string* error);

}  // namespace korvel
