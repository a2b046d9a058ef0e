// Downloads over http and https: one GET, one answer, no reuse, no retry, no cache.
//
// Each call has a WinHTTP session and a thread of its own, so any number of threads may call at once. A call
// blocks for up to 15 s per step (resolve, connect, send, response headers, each receive), whatever the
// server and the platform do, but never past a stop. Redirects, proxies and certificates are the platform's
// defaults. Plain http is allowed; the scheme of the address decides.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "base/stop.h"

namespace korvel {

/// Fetches `url` into `body`: true when a status from 200 to 299 came and its body was read to the end. A
/// body shorter than its announced length is a failure.
///
/// `url` is absolute and plain ASCII. `body` and `error` may be null; both are emptied first. After a failure
/// `body` may hold a part and must be ignored. Once `stop` is requested, the call fails with "service is
/// stopping" at once, whatever the server does; if it already was, nothing is sent. Throws std::bad_alloc
/// when the body does not fit into memory, std::system_error when no thread can be made.
bool httpGet(const std::string& url, std::string* body, std::string* error, const StopToken& stop = {});

/// As httpGet(), but hands the body over piece by piece as it arrives (up to about 1 MiB each), on this
/// thread, so that the caller need not hold it whole. The pieces are valid only if the result is true.
bool httpGetPieces(const std::string& url, const std::function<void(std::string_view)>& take,
                   std::string* error, const StopToken& stop = {});

}  // namespace korvel
