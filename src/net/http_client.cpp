#include "net/http_client.h"

#include <algorithm>
#include <vector>

#include "base/error.h"
#include "base/unique_resource.h"
#include "base/win.h"
#include "net/url_text.h"

#include <winhttp.h>

namespace korvel {
namespace {

constexpr wchar_t kUserAgent[] = L"KORVEL Antivirus update/1.0";
constexpr int kStepTimeoutMs = 15'000;

// Buffer sizes in UTF-16 units, the terminator included; a longer part makes the address a bad one.
constexpr DWORD kHostUnits = 256;
constexpr DWORD kPathUnits = 1024;
constexpr DWORD kExtraUnits = 1024;

struct InternetHandleTraits {
  using Value = HINTERNET;
  static Value empty() { return nullptr; }
  static bool valid(HINTERNET handle) { return handle != nullptr; }
  static void close(HINTERNET handle) { ::WinHttpCloseHandle(handle); }
};
using UniqueInternet = UniqueResource<InternetHandleTraits>;

struct Address {
  std::wstring host;
  std::wstring target;  // path, query and fragment
  INTERNET_PORT port = 0;
  bool secure = false;
};

/// One request from opening to closing. The members close in reverse: request, connection, session.
struct Exchange {
  UniqueInternet session;
  UniqueInternet connection;
  UniqueInternet request;
};

bool stopRequested(const std::atomic<bool>* stopping) { return stopping != nullptr && stopping->load(); }

bool failStopping(std::string* error) { return fail(error, "service is stopping"); }

bool splitUrl(const std::string& url, Address& address, std::string* error) {
  const std::wstring wide = widenBytes(url);
  wchar_t host[kHostUnits] = {};
  wchar_t path[kPathUnits] = {};
  wchar_t extra[kExtraUnits] = {};
  URL_COMPONENTS parts{};
  parts.dwStructSize = sizeof parts;
  parts.lpszHostName = host;
  parts.dwHostNameLength = kHostUnits;
  parts.lpszUrlPath = path;
  parts.dwUrlPathLength = kPathUnits;
  parts.lpszExtraInfo = extra;
  parts.dwExtraInfoLength = kExtraUnits;
  if (!::WinHttpCrackUrl(wide.c_str(), static_cast<DWORD>(wide.size()), /*flags=*/0, &parts)) {
    // The platform refuses a scheme it does not know before anybody could look at it.
    const bool foreign = ::GetLastError() == ERROR_WINHTTP_UNRECOGNIZED_SCHEME && hasForeignScheme(url);
    return foreign ? fail(error, "http(s) required: " + url) : failWin32(error, "bad url");
  }
  if (parts.nScheme != INTERNET_SCHEME_HTTP && parts.nScheme != INTERNET_SCHEME_HTTPS) {
    return fail(error, "http(s) required: " + url);
  }
  address.host = host;
  address.target = std::wstring(path) + extra;
  address.port = parts.nPort;
  address.secure = parts.nScheme == INTERNET_SCHEME_HTTPS;
  return true;
}

bool sendRequest(const Address& address, Exchange& exchange, std::string* error) {
  exchange.session.reset(::WinHttpOpen(kUserAgent, WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, WINHTTP_NO_PROXY_NAME,
                                       WINHTTP_NO_PROXY_BYPASS, /*flags=*/0));
  if (!exchange.session) return failWin32(error, "WinHttpOpen");
  // The defaults are longer, nothing worse: go on when they stay.
  (void)::WinHttpSetTimeouts(exchange.session.get(), kStepTimeoutMs, kStepTimeoutMs, kStepTimeoutMs,
                             kStepTimeoutMs);
  exchange.connection.reset(
      ::WinHttpConnect(exchange.session.get(), address.host.c_str(), address.port, /*reserved=*/0));
  if (!exchange.connection) return failWin32(error, "WinHttpConnect");
  exchange.request.reset(::WinHttpOpenRequest(exchange.connection.get(), L"GET", address.target.c_str(),
                                              /*version=*/nullptr, WINHTTP_NO_REFERER,
                                              WINHTTP_DEFAULT_ACCEPT_TYPES,
                                              address.secure ? WINHTTP_FLAG_SECURE : 0));
  if (!exchange.request) return failWin32(error, "WinHttpOpenRequest");
  if (!::WinHttpSendRequest(exchange.request.get(), WINHTTP_NO_ADDITIONAL_HEADERS, /*headerUnits=*/0,
                            WINHTTP_NO_REQUEST_DATA, /*dataBytes=*/0, /*totalBytes=*/0, /*context=*/0)) {
    return failWin32(error, "WinHttpSendRequest");
  }
  if (!::WinHttpReceiveResponse(exchange.request.get(), /*reserved=*/nullptr)) {
    return failWin32(error, "WinHttpReceiveResponse");
  }
  return true;
}

/// A response header as a number; 0 when it is absent or none.
DWORD numericHeader(HINTERNET request, DWORD header) {
  DWORD value = 0;
  DWORD bytes = sizeof value;
  const BOOL found =
      ::WinHttpQueryHeaders(request, header | WINHTTP_QUERY_FLAG_NUMBER, WINHTTP_HEADER_NAME_BY_INDEX, &value,
                            &bytes, WINHTTP_NO_HEADER_INDEX);
  return found ? value : 0;
}

/// Splits the address, sends the request and waits for a good status: all that comes before the body.
bool openResponse(const std::string& url, Exchange& exchange, std::string* error,
                  const std::atomic<bool>* stopping) {
  Address address;
  if (!splitUrl(url, address, error)) return false;
  if (stopRequested(stopping)) return failStopping(error);
  if (!sendRequest(address, exchange, error)) return false;
  const DWORD status = numericHeader(exchange.request.get(), WINHTTP_QUERY_STATUS_CODE);
  if (status < 200 || status > 299) return fail(error, "http status " + std::to_string(status));
  return true;
}

/// Reads to the end of the body; `Take` is called with a std::string_view for each piece. The end is where
/// the platform has no more bytes: a server that hangs up early is noticed only if the platform notices it.
template <typename Take>
bool readBody(HINTERNET request, const Take& take, std::string* error, const std::atomic<bool>* stopping) {
  std::vector<char> piece;
  uint64_t total = 0;
  for (;;) {
    if (stopRequested(stopping)) return failStopping(error);
    DWORD available = 0;
    if (!::WinHttpQueryDataAvailable(request, &available))
      return failWin32(error, "WinHttpQueryDataAvailable");
    if (available == 0) return true;
    if (total + available > kMaxHttpBodyBytes) return fail(error, "response too large");
    if (piece.size() < available) piece.resize(available);
    DWORD got = 0;
    if (!::WinHttpReadData(request, piece.data(), available, &got))
      return failWin32(error, "WinHttpReadData");
    take(std::string_view(piece.data(), got));
    total += got;
  }
}

}  // namespace

bool httpGet(const std::string& url, std::string* body, std::string* error,
             const std::atomic<bool>* stopping) {
  if (error != nullptr) error->clear();
  if (body != nullptr) body->clear();
  Exchange exchange;
  if (!openResponse(url, exchange, error, stopping)) return false;
  if (body == nullptr)
    return readBody(
        exchange.request.get(), [](std::string_view) {}, error, stopping);

  // A server that announces the length saves the copies of a growing body; it cannot make us reserve more
  // than we would read.
  const uint64_t announced = numericHeader(exchange.request.get(), WINHTTP_QUERY_CONTENT_LENGTH);
  body->reserve(static_cast<size_t>(std::min(announced, kMaxHttpBodyBytes)));
  return readBody(
      exchange.request.get(), [body](std::string_view piece) { body->append(piece); }, error, stopping);
}

bool httpGetPieces(const std::string& url, const std::function<void(std::string_view)>& take,
                   std::string* error, const std::atomic<bool>* stopping) {
  if (error != nullptr) error->clear();
  Exchange exchange;
  return openResponse(url, exchange, error, stopping) &&
         readBody(exchange.request.get(), take, error, stopping);
}

}  // namespace korvel
