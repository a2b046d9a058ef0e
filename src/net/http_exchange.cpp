#include "net/http_exchange.h"

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

// Buffer sizes in UTF-16 units, the terminator included; a longer part makes the address invalid.
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

/// One request from opening to closing. The members close in reverse: request, connection, session.
struct Exchange {
  UniqueInternet session;
  UniqueInternet connection;
  UniqueInternet request;
};

bool sendRequest(const HttpAddress& address, Exchange& exchange, std::string* error) {
  exchange.session.reset(::WinHttpOpen(kUserAgent, WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, WINHTTP_NO_PROXY_NAME,
                                       WINHTTP_NO_PROXY_BYPASS, /*flags=*/0));
  if (!exchange.session) return failWin32(error, "WinHttpOpen");
  // A failure leaves the longer defaults in force, which does no harm.
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

/// A response header as a number; 0 when it is absent or not a number.
DWORD numericHeader(HINTERNET request, DWORD header) {
  DWORD value = 0;
  DWORD bytes = sizeof value;
  const BOOL found =
      ::WinHttpQueryHeaders(request, header | WINHTTP_QUERY_FLAG_NUMBER, WINHTTP_HEADER_NAME_BY_INDEX, &value,
                            &bytes, WINHTTP_NO_HEADER_INDEX);
  return found ? value : 0;
}

/// The body ends when the platform has no more bytes: a server that hangs up early is noticed only if the
/// platform reports it.
bool readBody(HINTERNET request, HttpReceiver& receiver, std::string* error) {
  std::vector<char> piece;
  uint64_t total = 0;
  for (;;) {
    DWORD available = 0;
    if (!::WinHttpQueryDataAvailable(request, &available))
      return failWin32(error, "WinHttpQueryDataAvailable");
    if (available == 0) return true;
    if (total + available > kMaxHttpBodyBytes) return fail(error, "response too large");
    if (piece.size() < available) piece.resize(available);
    DWORD got = 0;
    if (!::WinHttpReadData(request, piece.data(), available, &got))
      return failWin32(error, "WinHttpReadData");
    if (!receiver.take({piece.data(), got})) return fail(error, "nobody wants the rest");
    total += got;
  }
}

}  // namespace

bool splitUrl(const std::string& url, HttpAddress& address, std::string* error) {
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
    // The platform fails on an unknown scheme before it fills in nScheme.
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

bool runExchange(const HttpAddress& address, HttpReceiver& receiver, std::string* error) {
  Exchange exchange;
  if (!sendRequest(address, exchange, error)) return false;
  HINTERNET request = exchange.request.get();
  const DWORD status = numericHeader(request, WINHTTP_QUERY_STATUS_CODE);
  if (status < 200 || status > 299) return fail(error, "http status " + std::to_string(status));
  receiver.begin(numericHeader(request, WINHTTP_QUERY_CONTENT_LENGTH));
  return readBody(request, receiver, error);
}

}  // namespace korvel
