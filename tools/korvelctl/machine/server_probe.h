// Asks an update server for a document's head, as the caller and from the caller's account: what the service
// meets may differ. Thread-safe.
#pragma once

#include <cstdint>
#include <string>

namespace korvel::ctl {

struct ServerAnswer {
  uint32_t status = 0;   ///< of HTTP; 0 when no answer came
  uint32_t win32 = 0;    ///< why none came
  uint64_t dateUtc = 0;  ///< the server's clock, Unix seconds; 0 when it does not tell
  uint64_t length = 0;   ///< what the server announces for the document, in bytes; 0 when it does not
  uint64_t elapsedMs = 0;
};

inline constexpr uint32_t kProbeLimitMs = 15'000;

/// `url` is UTF-8, absolute, http or https. Returns within `limitMs`; win32 is ERROR_WINHTTP_TIMEOUT (12002)
/// when that has passed. Redirects are followed. No body is asked for.
ServerAnswer probeServer(const std::string& url, uint32_t limitMs = kProbeLimitMs);

}  // namespace korvel::ctl
